#include "hostapp/MarkActions.h"

#include "hostapp/BackendErrors.h"
#include "hostapp/KnownFolders.h"

namespace zelto {

std::optional<NSError> MarkActions::add(MarkKind kind, const std::string& identifier) {
  const auto item = resolver_->resolve(identifier);
  if (!item) return noSuchItemError(identifier);
  const auto entry = backend_->stat(item->path);
  if (!entry) return entry.error();
  const auto added = marks_->add(kind, item->path, entry->stat.kind == EntryKind::folder);
  if (added) publisher_->markChanged(*added, true);
  return std::nullopt;
}

std::optional<NSError> MarkActions::remove(MarkKind kind, const std::string& identifier) {
  const auto item = resolver_->resolve(identifier);
  if (!item) return noSuchItemError(identifier);
  const auto removed = marks_->remove(kind, item->path);
  if (!removed) return std::nullopt;
  publisher_->markChanged(*removed, false);
  watcher_->dropView(kind == MarkKind::bookmark ? bookmarkView(removed->name) : offlineView(removed->name));
  return std::nullopt;
}

}  // namespace zelto
