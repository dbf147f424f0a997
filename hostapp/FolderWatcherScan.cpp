#include <algorithm>

#include "hostapp/BackendErrors.h"
#include "hostapp/BeneathFolder.h"
#include "hostapp/FolderWatcher.h"
#include "hostapp/ServerPaths.h"

namespace zelto {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kSaveDelay{200};

std::timespec systemTime() {
  std::timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  return now;
}

// Only folders are shown in the folder of shares.
void keepShown(const std::string& folder, std::vector<BackendEntry>& entries) {
  if (!folder.empty()) return;
  std::erase_if(entries, [](const BackendEntry& e) { return e.stat.kind != EntryKind::folder; });
}

void keepShown(const std::string& folder, std::vector<std::optional<BackendEntry>>& found) {
  if (!folder.empty()) return;
  for (auto& entry : found) {
    if (entry && entry->stat.kind != EntryKind::folder) entry.reset();
  }
}

}  // namespace

std::expected<FolderWatcher::Seen, NSError> FolderWatcher::seenIn(
    const std::string& folder, const std::expected<BackendListing, NSError>& found) {
  if (!found) return std::unexpected(found.error());
  if (!folder.empty()) return Seen{found->inode, FolderSnapshot::ofEntries(found->entries, systemTime())};
  auto shown = found->entries;
  keepShown(folder, shown);
  return Seen{found->inode, FolderSnapshot::ofEntries(shown, systemTime())};
}

void FolderWatcher::remember(const Listing& listing, const Seen& seen) {
  {
    const std::lock_guard lock(mutex_);
    if (!stored_.insert(listing.folder).second) return;
  }
  store_->addFolder({listing.folder, seen.inode, {listing.view}, seen.snapshot});
}

void FolderWatcher::processDirty() {
  std::vector<PathChange> changes;
  std::map<std::string, Dirty> held;
  // From the end: folders before their parents, which are marked on the way.
  while (!dirty_.empty()) {
    auto next = dirty_.extract(std::prev(dirty_.end()));
    bool listed = false;
    {
      const std::lock_guard lock(mutex_);
      listed = listingsUnderWay_.contains(next.key());
    }
    if (known_.find(next.key()) != nullptr) {
      processFolder(next.key(), next.mapped(), changes);
    } else if (listed) {
      held.insert(std::move(next));
    }
  }
  // What is being listed for the first time is compared once it has been listed.
  for (auto& [folder, dirty] : held) {
    markDirty(folder, "");
    dirty_[folder] = std::move(dirty);
  }
  deliver(std::move(changes));
}

void FolderWatcher::processFolder(const std::string& folder, const Dirty& dirty,
                                  std::vector<PathChange>& changes) {
  auto& known = *known_.find(folder);
  if (dirty.all) {
    scan(folder, known, changes);
  } else {
    compareNames(folder, known, dirty, changes);
  }
}

void FolderWatcher::scan(const std::string& folder, KnownFolder& known, std::vector<PathChange>& changes) {
  watchFolder(folder, known);
  {
    const std::lock_guard lock(mutex_);
    ++counts_.scans;
    // A listing that began earlier is older than what is read now.
    known.listing = ++lastListing_;
  }
  const auto time = systemTime();
  auto found = backend_->list(folder);
  if (!found) return failed(folder, found.error(), changes);
  keepShown(folder, found->entries);
  auto snapshot = FolderSnapshot::ofEntries(found->entries, time);
  auto differences = known.stored.snapshot.changesTo(snapshot);
  const bool replaced = known.stored.inode != 0 && known.stored.inode != found->inode;
  if (differences.empty() && !replaced) {
    known.stored.snapshot = std::move(snapshot);
    return;
  }
  known.stored.inode = found->inode;
  report(folder, known, std::move(differences), changes);
  known.stored.snapshot = std::move(snapshot);
  markForSaving(folder, known.stored.snapshot.size());
}

void FolderWatcher::compareNames(const std::string& folder, KnownFolder& known, const Dirty& dirty,
                                 std::vector<PathChange>& changes) {
  const std::vector<std::string> names(dirty.names.begin(), dirty.names.end());
  const auto time = systemTime();
  auto found = backend_->statNames(folder, names);
  if (!found) return failed(folder, found.error(), changes);
  keepShown(folder, *found);
  auto differences = known.stored.snapshot.apply(names, *found, time);
  if (differences.empty()) return;
  report(folder, known, std::move(differences), changes);
  markForSaving(folder, known.stored.snapshot.size());
}

void FolderWatcher::failed(const std::string& folder, const NSError& error,
                           std::vector<PathChange>& changes) {
  if (!isNoSuchItem(error) || folder.empty()) {
    log_("Could not look for changes: " + error.localizedDescription());
    return;
  }
  changes.push_back({folder, ChangeKind::deletion, known_.find(folder)->stored.views});
  forget(folder);
}

void FolderWatcher::report(const std::string& folder, const KnownFolder& known,
                           std::vector<NamedChange> found, std::vector<PathChange>& changes) {
  for (auto& change : found) {
    auto path = joinedPath(folder, change.name);
    if (change.kind != ChangeKind::update) forget(path);
    changes.push_back({std::move(path), change.kind, known.stored.views});
  }
  // The folder's own dates have changed as well, and nothing says so to whoever watches its parent.
  if (folder.empty()) return;
  const auto split = splitPath(folder);
  if (known_.find(split.folder) != nullptr) markDirty(split.folder, split.name);
}

void FolderWatcher::forget(const std::string& folder) {
  const auto forgotten = known_.remove(folder);
  for (const auto& path : forgotten) {
    {
      const std::lock_guard lock(mutex_);
      stored_.erase(path);
    }
    backend_->unwatch(path);
    toSave_.erase(path);
    dirty_.erase(path);
  }
  store_->removeFolders(forgotten);
}

void FolderWatcher::watchFolder(const std::string& folder, KnownFolder& known) {
  known.watched = backend_->watch(folder);
  if (known.watched) return;
  nextLook_ = std::min(nextLook_, Clock::now() + lookInterval_);
  if (!std::exchange(complained_, true)) {
    log_("\"" + folder + "\" cannot be watched; such folders are looked at from time to time.");
  }
}

void FolderWatcher::takeUp(std::vector<StoredFolder> stored) {
  for (auto& folder : stored) {
    {
      const std::lock_guard lock(mutex_);
      stored_.insert(folder.path);
    }
    auto& known = known_.add(folder.path);
    toSave_.insert(folder.path);
    known.stored = std::move(folder);
    markDirty(known.stored.path, "");
  }
  if (known_.find("") != nullptr) return;
  // The first run: what is there now is what the extension will see.
  auto listing = beginListing("", std::string(kServerView));
  observed(listing, seenIn("", backend_->list("")));
}

void FolderWatcher::observed(const Listing& listing, std::expected<Seen, NSError> seen) {
  {
    const std::lock_guard lock(mutex_);
    const auto underWay = listingsUnderWay_.find(listing.folder);
    if (--underWay->second == 0) listingsUnderWay_.erase(underWay);
  }
  auto* known = known_.find(listing.folder);
  if (!seen) {
    if (known != nullptr) return markDirty(listing.folder, "");
    return backend_->unwatch(listing.folder);
  }
  if (known == nullptr) return observedFirst(listing, *std::move(seen));
  known->addView(listing.view);
  if (known->stored.inode != seen->inode) watchFolder(listing.folder, *known);
  known->stored.inode = seen->inode;
  observedAgain(listing, *known, std::move(seen->snapshot));
}

void FolderWatcher::observedFirst(const Listing& listing, Seen seen) {
  auto& added = known_.add(listing.folder);
  added.addView(listing.view);
  added.listing = listing.number;
  added.watched = listing.watched;
  added.stored.inode = seen.inode;
  added.stored.snapshot = std::move(seen.snapshot);
  if (!added.watched) watchFolder(listing.folder, added);
  markForSaving(listing.folder, added.stored.snapshot.size());
}

// The extension may take a single item from a listing and not the rest, so what a listing shows is
// reported as well. An older listing that ends late is followed by what has been seen since.
void FolderWatcher::observedAgain(const Listing& listing, KnownFolder& known, FolderSnapshot seen) {
  std::vector<PathChange> changes;
  auto& last = known.stored.snapshot;
  const bool newer = listing.number > known.listing;
  report(listing.folder, known, newer ? last.changesTo(seen) : seen.changesTo(last), changes);
  if (newer) {
    last = std::move(seen);
    known.listing = listing.number;
  }
  if (!changes.empty() || newer) markForSaving(listing.folder, last.size());
  deliver(std::move(changes));
}

void FolderWatcher::deliver(std::vector<PathChange> changes) {
  if (!changes.empty()) changed_(std::move(changes));
}

// A large folder is stored more rarely.
void FolderWatcher::markForSaving(const std::string& folder, std::size_t size) {
  const auto delay = kSaveDelay + milliseconds(size / 50);
  toSave_.insert(folder);
  saveAt_ = std::min(saveAt_, Clock::now() + delay);
}

void FolderWatcher::save() {
  std::vector<const StoredFolder*> folders;
  for (const auto& path : toSave_) {
    if (const auto* known = known_.find(path)) folders.push_back(&known->stored);
  }
  store_->saveFolders(folders);
  toSave_.clear();
  saveAt_ = Clock::time_point::max();
}

}  // namespace zelto
