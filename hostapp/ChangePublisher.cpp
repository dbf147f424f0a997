#include "hostapp/ChangePublisher.h"

#include <algorithm>

#include "hostapp/KnownFolders.h"

namespace zelto {

ChangePublisher::ChangePublisher(std::shared_ptr<ItemResolver> resolver, std::shared_ptr<MarkedItems> marks,
                                 std::shared_ptr<HostModeState> mode, std::shared_ptr<ChangeJournal> journal,
                                 std::function<void()> changesWaiting)
    : resolver_(std::move(resolver)),
      marks_(std::move(marks)),
      mode_(std::move(mode)),
      journal_(std::move(journal)),
      changesWaiting_(std::move(changesWaiting)) {}

bool ChangePublisher::shows(MarkKind kind) const {
  const auto mode = mode_->mode();
  return mode.useMyFiles && (kind == MarkKind::bookmark || mode.useOfflineFiles);
}

std::string ChangePublisher::containerItem(const MarkedItem& item) const {
  const auto paths = mode_->paths();
  const auto container =
      item.kind == MarkKind::bookmark ? paths->bookmarksIdentifier() : paths->offlineFilesIdentifier();
  return container + "/" + item.name;
}

void ChangePublisher::pathsChanged(const std::vector<PathChange>& changes) {
  std::vector<StoredChange> entries;
  for (const auto& change : changes) {
    for (const auto& view : change.views) {
      if (auto identifier = resolver_->identifier(change.path, view)) {
        entries.push_back({std::move(*identifier), change.kind});
      }
    }
    addMarks(change, entries);
  }
  publish(entries);
}

// What the containers show of a changed path. What went away took the marked items below it along.
void ChangePublisher::addMarks(const PathChange& change, std::vector<StoredChange>& entries) const {
  for (const auto& item : marks_->atOrBelow(change.path)) {
    const bool itself = item.path == change.path;
    if (!shows(item.kind) || (!itself && change.kind == ChangeKind::update)) continue;
    entries.push_back({containerItem(item), itself ? change.kind : ChangeKind::deletion});
  }
}

void ChangePublisher::markMoved(const MovedMark& move) {
  auto entries = placesOf(move.after.path);
  if (shows(move.after.kind)) {
    if (move.before.name != move.after.name) {
      entries.push_back({containerItem(move.before), ChangeKind::deletion});
    }
    entries.push_back({containerItem(move.after), ChangeKind::update});
  }
  publish(entries);
}

// Where the item itself shows: below its share, and below bookmarked folders.
std::vector<StoredChange> ChangePublisher::placesOf(const std::string& path) const {
  std::vector<StoredChange> places{{mode_->paths()->identifier(path), ChangeKind::update}};
  if (!shows(MarkKind::bookmark)) return places;
  for (const auto& bookmark : marks_->all(MarkKind::bookmark)) {
    if (bookmark.path == path) continue;
    if (auto identifier = resolver_->identifier(path, bookmarkView(bookmark.name))) {
      places.push_back({std::move(*identifier), ChangeKind::update});
    }
  }
  return places;
}

void ChangePublisher::markChanged(const MarkedItem& item, bool added) {
  auto entries = placesOf(item.path);
  if (shows(item.kind)) {
    entries.push_back({containerItem(item), added ? ChangeKind::update : ChangeKind::deletion});
  }
  // A bookmark shows whether its item is available offline.
  const auto bookmark = marks_->at(MarkKind::bookmark, item.path);
  if (item.kind == MarkKind::offline && bookmark && shows(MarkKind::bookmark)) {
    entries.push_back({containerItem(*bookmark), ChangeKind::update});
  }
  publish(entries);
}

void ChangePublisher::modeChanged(const std::vector<std::string>& oldRootChildren,
                                  const std::vector<std::string>& newRootChildren) {
  std::vector<StoredChange> entries;
  for (const auto& identifier : oldRootChildren) {
    const bool stays =
        std::find(newRootChildren.begin(), newRootChildren.end(), identifier) != newRootChildren.end();
    if (!stays) entries.push_back({identifier, ChangeKind::deletion});
  }
  for (const auto& identifier : newRootChildren) entries.push_back({identifier, ChangeKind::update});
  // What was noted before stands under identifiers that are gone.
  journal_->replaceAll(entries);
  changesWaiting_();
}

void ChangePublisher::publish(const std::vector<StoredChange>& changes) {
  if (changes.empty()) return;
  journal_->add(changes);
  changesWaiting_();
}

}  // namespace zelto
