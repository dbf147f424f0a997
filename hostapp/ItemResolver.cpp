#include "hostapp/ItemResolver.h"

#include <cerrno>

#include "hostapp/BackendErrors.h"
#include "hostapp/BeneathFolder.h"
#include "hostapp/KnownFolders.h"
#include "platform/foundation/Path.h"
#include "platform/foundation/Unicode.h"

namespace zelto {

namespace {

// A container that the root does not show in this mode does not exist.
std::expected<NSDictionary, NSError> containerDictionaryIf(bool shown, int type,
                                                           const std::string& identifier) {
  if (!shown) return std::unexpected(noSuchItemError(identifier));
  return containerDictionary(type);
}

NSError unparsableError(const std::string& identifier) {
  const bool possible = identifier.starts_with('/') && isRelativePath(identifier.substr(1));
  if (possible && isValidUTF8(identifier)) return noSuchItemError(identifier);
  return writeError(EINVAL, identifier);
}

// Why an item cannot be changed whoever asks; nothing when it can.
std::optional<std::string_view> refusalOf(const ServerPath& parsed) {
  switch (parsed.area) {
    case ServerArea::server:
      if (!isSharePath(parsed.path)) return std::nullopt;
      return "shares are set up and removed on the server itself; work in the folders below them";
    case ServerArea::bookmark:
      if (!parsed.path.empty()) return std::nullopt;
      return "it is a bookmark; remove the bookmark, or change the item that it stands for";
    case ServerArea::offline:
      return "offline files are changed where they lie on the server";
    default:
      return "this container always stays as it is; work in the folders below the shares";
  }
}

}  // namespace

std::expected<ResolvedItem, NSError> ItemResolver::resolveForChange(const std::string& identifier) const {
  const auto parsed = mode_->paths()->parse(identifier);
  if (!parsed) return std::unexpected(unparsableError(identifier));
  if (const auto refusal = refusalOf(*parsed)) return std::unexpected(refusedError(identifier, *refusal));
  auto resolved = resolve(identifier);
  if (!resolved) return std::unexpected(noSuchItemError(identifier));
  return *std::move(resolved);
}

std::optional<ResolvedItem> ItemResolver::resolve(const std::string& identifier) const {
  auto parsed = mode_->paths()->parse(identifier);
  if (!parsed) return std::nullopt;
  if (parsed->area == ServerArea::server) return ResolvedItem{parsed->path, std::string(kServerView)};
  const bool bookmark = parsed->area == ServerArea::bookmark;
  if (!bookmark && parsed->area != ServerArea::offline) return std::nullopt;
  const auto item = marks_->named(bookmark ? MarkKind::bookmark : MarkKind::offline, parsed->name);
  if (!item) return std::nullopt;
  return ResolvedItem{joinedPath(item->path, parsed->path),
                      bookmark ? bookmarkView(item->name) : offlineView(item->name)};
}

std::optional<std::string> ItemResolver::identifier(const std::string& path, const std::string& view) const {
  const auto paths = mode_->paths();
  if (view == kServerView) return paths->identifier(path);
  const bool bookmark = view.starts_with('B');
  if (!bookmark && !view.starts_with('O')) return std::nullopt;
  const auto item = marks_->named(bookmark ? MarkKind::bookmark : MarkKind::offline, view.substr(1));
  if (!item || !liesIn(path, item->path)) return std::nullopt;
  const auto container = bookmark ? paths->bookmarksIdentifier() : paths->offlineFilesIdentifier();
  return container + "/" + item->name + path.substr(item->path.size());
}

std::expected<NSDictionary, NSError> ItemResolver::dictionary(const std::string& identifier) const {
  const auto paths = mode_->paths();
  const auto parsed = paths->parse(identifier);
  if (!parsed) return std::unexpected(noSuchItemError(identifier));
  switch (parsed->area) {
    case ServerArea::root:
      return std::unexpected(noSuchItemError(identifier));
    case ServerArea::myFiles:
      return containerDictionaryIf(mode_->mode().useMyFiles, kItemTypeMyFiles, identifier);
    case ServerArea::offlineFiles: {
      const auto mode = mode_->mode();
      return containerDictionaryIf(mode.useMyFiles && mode.useOfflineFiles, kItemTypeOfflineFiles,
                                   identifier);
    }
    case ServerArea::bookmarks:
      return containerDictionaryIf(mode_->mode().useMyFiles, kItemTypeBookmarks, identifier);
    case ServerArea::server:
      return entryDictionary(identifier);
    case ServerArea::bookmark:
    case ServerArea::offline:
      return parsed->path.empty() ? markedDictionary(*paths, *parsed) : entryDictionary(identifier);
  }
  return std::unexpected(noSuchItemError(identifier));
}

std::expected<NSDictionary, NSError> ItemResolver::markedDictionary(const ServerPaths& paths,
                                                                    const ServerPath& parsed) const {
  const bool bookmark = parsed.area == ServerArea::bookmark;
  auto item = marks_->named(bookmark ? MarkKind::bookmark : MarkKind::offline, parsed.name);
  if (!item) return std::unexpected(noSuchItemError(parsed.name));
  auto entry = backend_->stat(item->path);
  if (!entry) return std::unexpected(entry.error());
  if (bookmark) {
    item->isFolder = entry->stat.kind == EntryKind::folder;
    return bookmarkDictionary(*item, paths.bookmarksIdentifier(), paths.linkTarget(item->path),
                              marks_->flags(item->path).offline);
  }
  entry->name = item->name;
  return fileDictionary(*entry, contextBelow(paths.offlineFilesIdentifier(), true), {});
}

std::expected<NSDictionary, NSError> ItemResolver::entryDictionary(const std::string& identifier) const {
  const auto resolved = resolve(identifier);
  if (!resolved) return std::unexpected(noSuchItemError(identifier));
  const auto entry = backend_->stat(resolved->path);
  if (!entry) return std::unexpected(entry.error());
  if (isSharePath(resolved->path) && entry->stat.kind != EntryKind::folder) {
    return std::unexpected(noSuchItemError(identifier));
  }
  return dictionaryOf(identifier, resolved->path, *entry);
}

NSDictionary ItemResolver::dictionaryOf(const std::string& identifier, const std::string& path,
                                        const BackendEntry& entry) const {
  const auto paths = mode_->paths();
  const auto parsed = paths->parse(identifier);
  const bool offline = parsed && parsed->area == ServerArea::offline;
  if (isSharePath(path) && !offline) {
    return shareDictionary(entry, contextBelow(paths->sharesIdentifier(), false), marks_->flags(path));
  }
  const auto context = contextBelow(stringByDeletingLastPathComponent(identifier), offline);
  const auto flags = offline ? MarkFlags() : marks_->flags(path);
  if (entry.name == lastPathComponent(identifier)) return fileDictionary(entry, context, flags);
  // A marked item is shown under the name of its mark.
  auto renamed = entry;
  renamed.name = lastPathComponent(identifier);
  return fileDictionary(renamed, context, flags);
}

}  // namespace zelto
