#include <cerrno>
#include <mutex>

#include "framework/replica/FileDigest.h"
#include "framework/replica/LocalReplica.h"

namespace zelto {
namespace {

// Of longer files the size alone tells enough, and reading them again would take long.
constexpr std::uint64_t kMostDigested = 16 << 20;

}  // namespace

void LocalReplica::setLocalChangeHandler(std::function<void(Inode)> handler) {
  changeHandler_ = std::move(handler);
}

std::vector<Inode> LocalReplica::localChanges() {
  const std::shared_lock lock(mutex_);
  return editor_.changes().oldestFirst();
}

std::optional<LocalChangeInfo> LocalReplica::localChange(Inode inode) {
  const std::shared_lock lock(mutex_);
  const LocalEntry* const entry = editor_.changes().find(inode);
  if (entry == nullptr || !entry->pending()) return {};
  return editor_.describe(*entry);
}

std::expected<LocalStep, LocalWait> LocalReplica::beginStep(Inode inode, bool evenIfOpen) {
  const std::unique_lock lock(mutex_);
  return editor_.beginStep(inode, evenIfOpen);
}

std::optional<NSError> LocalReplica::exportContent(LocalStep& step, const std::string& path) {
  const Inode inode = step.node.inode;
  {
    const std::unique_lock lock(mutex_);
    const LocalEntry* const entry = editor_.changes().find(inode);
    const Slot slot = tree_.table().slotForInode(inode);
    if (entry == nullptr || slot == kNoSlot) return posixError(path, ENOENT);
    // Before the bytes: a write in between makes them another revision, which is sent again.
    step.contentRevision = entry->contentRevision;
    step.node = tree_.table().info(slot);
  }
  if (const int code = contents_->exportTo(inode, path)) return posixError(path, code);
  if (step.kind == LocalStep::Kind::create && step.node.size <= kMostDigested) {
    const auto digest = digestOfFile(path);
    if (!digest) return posixError(path, digest.error());
    step.contentDigest = *digest;
  }
  const std::unique_lock lock(mutex_);
  editor_.noteAttempt(step);
  return {};
}

ReplicaDelta LocalReplica::settle(const LocalStep& step, const NSFileProviderItemPtr& item) {
  ReplicaDelta delta;
  {
    const std::unique_lock lock(mutex_);
    delta = editor_.settle(step, item);
  }
  tellPlaces();
  return delta;
}

void LocalReplica::stepFailed(const LocalStep& step, bool refused) {
  {
    const std::unique_lock lock(mutex_);
    editor_.stepFailed(step, refused);
  }
  tellPlaces();
}

std::expected<ReplicaDelta, int> LocalReplica::keepBoth(Inode inode, std::string_view newName) {
  const std::unique_lock lock(mutex_);
  const Slot slot = tree_.table().slotForInode(inode);
  if (slot == kNoSlot) return std::unexpected(ENOENT);
  return editor_.keepBoth(slot, newName);
}

ReplicaDelta LocalReplica::serverLost(Inode inode) {
  ReplicaDelta delta;
  {
    const std::unique_lock lock(mutex_);
    delta = editor_.serverLost(inode);
  }
  tellPlaces();
  for (const Inode each : delta.toSend) tell(each);
  return delta;
}

std::expected<ReplicaDelta, int> LocalReplica::abandon(Inode inode) {
  std::expected<ReplicaDelta, int> delta;
  {
    const std::unique_lock lock(mutex_);
    delta = editor_.abandon(inode);
  }
  tellPlaces();
  return delta;
}

std::uint64_t LocalReplica::settledSoFar() {
  const std::shared_lock lock(mutex_);
  return editor_.changes().settledSoFar();
}

// What is settled and in the database is of no more use to the log.
void LocalReplica::databaseWritten() {
  std::vector<Inode> settled;
  {
    const std::unique_lock lock(mutex_);
    const std::uint64_t finished = journal_->finishedSoFar();
    std::erase_if(newFolders_, [finished](const auto& known) { return known.second <= finished; });
    settled = editor_.changes().takeLate(finished);
  }
  for (const Inode inode : settled) {
    const std::unique_lock lock(mutex_);
    editor_.finishLate(inode);
  }
}

}  // namespace zelto
