#include "hostapp/BeneathFolder.h"
#include "hostapp/FolderWatcher.h"

namespace zelto {

void FolderWatcher::removed(OwnRemoval removal) {
  post([this, removal = std::move(removal)] { forgetRemoved(removal); });
}

void FolderWatcher::moveFolder(OwnRemoval from, const std::string& to, std::move_only_function<bool()> move) {
  post([this, from = std::move(from), to, move = std::move(move)]() mutable {
    if (!move()) return;
    moveKnown(from.path, to);
    forgetRemoved(from);
  });
}

// The extension asked for it and hears of it by the reply. Whatever takes the name from now on is new.
void FolderWatcher::forgetRemoved(const OwnRemoval& removal) {
  const auto split = splitPath(removal.path);
  auto* known = known_.find(split.folder);
  if (known == nullptr || !known->stored.snapshot.forget(split.name, removal.before, removal.lookedAt))
    return;
  forget(removal.path);
  markDirty(split.folder, split.name);
  markForSaving(split.folder, known->stored.snapshot.size());
  // The folder's own date has changed.
  const auto parent = splitPath(split.folder);
  if (!split.folder.empty() && known_.find(parent.folder) != nullptr) markDirty(parent.folder, parent.name);
}

void FolderWatcher::moveKnown(const std::string& from, const std::string& to) {
  forget(to);
  std::vector<const StoredFolder*> stored;
  std::vector<std::string> gone;
  for (const auto& [old, now] : known_.rename(from, to)) {
    auto& known = *known_.find(now);
    // The new path first: the system goes on watching the same folder.
    watchFolder(now, known);
    backend_->unwatch(old);
    {
      const std::lock_guard lock(mutex_);
      stored_.erase(old);
      stored_.insert(now);
    }
    toSave_.erase(old);
    dirty_.erase(old);
    // An event that was on its way under the old path is lost: what it was for shows in the folder.
    markDirty(now, "");
    stored.push_back(&known.stored);
    gone.push_back(old);
  }
  store_->saveFolders(stored);
  store_->removeFolders(gone);
}

}  // namespace zelto
