#include "hostapp/MarkActions.h"

#include "hostapp/BackendErrors.h"
#include "hostapp/BeneathFolder.h"
#include "hostapp/KnownFolders.h"

namespace zelto {

namespace {

std::string viewOf(const MarkedItem& item) {
  return item.kind == MarkKind::bookmark ? bookmarkView(item.name) : offlineView(item.name);
}

}  // namespace

std::optional<NSError> MarkActions::add(MarkKind kind, const std::string& identifier) {
  const auto item = resolver_->resolve(identifier);
  if (!item) return noSuchItemError(identifier);
  const auto entry = backend_->stat(item->path);
  if (!entry) return entry.error();
  const auto added = marks_->add(kind, item->path, entry->stat.kind == EntryKind::folder);
  if (!added) return std::nullopt;
  watcher_->watchUnlisted(splitPath(item->path).folder);
  publisher_->markChanged(*added, true);
  return std::nullopt;
}

std::optional<NSError> MarkActions::remove(MarkKind kind, const std::string& identifier) {
  const auto item = resolver_->resolve(identifier);
  if (!item) return noSuchItemError(identifier);
  const auto removed = marks_->remove(kind, item->path);
  if (!removed) return std::nullopt;
  publisher_->markChanged(*removed, false);
  watcher_->dropView(viewOf(*removed));
  return std::nullopt;
}

void MarkActions::itemMoved(const std::string& from, const std::string& to) {
  // Nothing was there, so what is marked there is of an item that went away earlier.
  marks_->removeAtOrBelow(to);
  for (const auto& move : marks_->moved(from, to)) {
    publisher_->markMoved(move);
    if (move.before.name != move.after.name) watcher_->dropView(viewOf(move.before));
    watcher_->watchUnlisted(splitPath(move.after.path).folder);
  }
}

void MarkActions::itemRemoved(const std::string& path) {
  for (const auto& removed : marks_->removeAtOrBelow(path)) {
    publisher_->markChanged(removed, false);
    watcher_->dropView(viewOf(removed));
  }
}

}  // namespace zelto
