#include <algorithm>
#include <iterator>
#include <mutex>

#include "framework/replica/LocalReplica.h"

namespace zelto {

ReplicaDelta LocalReplica::learn(const std::vector<NSFileProviderItemPtr>& items, std::size_t rows,
                                 const std::optional<Asked>& asked,
                                 const std::function<void(Learner&)>& what) {
  ItemBatch batch(items, templates_, traits_);
  journal_->waitForRoom();
  writer_.reserveInodes(rows);
  Learner learner(tree_, batch, writer_, *contents_, counters_,
                  {editor_, asked ? std::optional(asked->settled) : std::nullopt});
  ReplicaDelta lost;
  {
    const std::unique_lock lock(mutex_);
    what(learner);
    learner.queue(*journal_);
    for (const Inode inode : learner.newFolders()) newFolders_[inode] = journal_->pushedSoFar();
    lost = learner.loseFolders();
  }
  ReplicaDelta delta = learner.finish();
  std::ranges::move(lost.removed, std::back_inserter(delta.removed));
  for (const Inode inode : lost.toSend) tell(inode);
  delta.toSend = std::move(lost.toSend);
  return delta;
}

bool LocalReplica::isAt(Slot slot, std::string_view identifier) const {
  return tree_.identifier(slot) == identifier && editor_.isPlaceKnown(slot);
}

bool LocalReplica::isPlace(Inode inode, std::string_view identifier) {
  const std::shared_lock lock(mutex_);
  const Slot slot = tree_.table().slotForInode(inode);
  return slot != kNoSlot && isAt(slot, identifier);
}

void LocalReplica::whenPlaceIsKnown(Inode inode, std::move_only_function<void()> then) {
  {
    const std::shared_lock lock(mutex_);
    const Slot slot = tree_.table().slotForInode(inode);
    if (slot != kNoSlot && !editor_.isPlaceKnown(slot)) {
      const std::lock_guard guard(placesMutex_);
      return void(placeWaiters_.emplace_back(inode, std::move(then)));
    }
  }
  then();
}

void LocalReplica::tellPlaces() {
  decltype(placeWaiters_) waiting;
  {
    const std::lock_guard guard(placesMutex_);
    waiting.swap(placeWaiters_);
  }
  for (auto& [inode, then] : waiting) whenPlaceIsKnown(inode, std::move(then));
}

ReplicaDelta LocalReplica::applyListing(Inode folder, const std::vector<NSFileProviderItemPtr>& items,
                                        const std::optional<Asked>& asked) {
  return learn(items, items.size(), asked, [&](Learner& learner) {
    const Slot slot = loadedNode(folder);
    if (slot == kNoSlot || tree_.table()[slot].kind != NodeKind::folder) return;
    const bool elsewhere = asked && !asked->identifier.empty() && !isAt(slot, asked->identifier);
    elsewhere ? learner.listAgain(slot) : learner.listing(slot);
  });
}

ReplicaDelta LocalReplica::applyChanges(const std::vector<NSFileProviderItemPtr>& updates,
                                        const std::vector<std::string>& deletedIdentifiers,
                                        const std::optional<Asked>& asked) {
  return learn(updates, updates.size(), asked,
               [&deletedIdentifiers](Learner& learner) { learner.changes(deletedIdentifiers); });
}

ReplicaDelta LocalReplica::applyItem(Inode inode, const NSFileProviderItemPtr& item,
                                     const std::optional<Asked>& asked) {
  return learn({item}, 1, asked, [this, inode](Learner& learner) {
    const Slot slot = loadedNode(inode);
    if (slot != kNoSlot && slot != tree_.table().root()) learner.item(slot);
  });
}

}  // namespace zelto
