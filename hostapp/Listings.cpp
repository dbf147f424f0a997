#include "hostapp/Listings.h"

#include "hostapp/BackendErrors.h"
#include "hostapp/BeneathFolder.h"
#include "hostapp/KnownFolders.h"

namespace zelto {

namespace {

constexpr std::size_t kMostComplaints = 200;

MarkFlags flagsOf(const std::unordered_map<std::string, MarkFlags>& flags, const std::string& name) {
  if (flags.empty()) return {};
  const auto found = flags.find(name);
  return found == flags.end() ? MarkFlags() : found->second;
}

}  // namespace

DictionaryList Listings::shares() {
  auto listing = parts_.watcher->beginListing("", std::string(kServerView));
  auto found = parts_.backend->list("");
  DictionaryList shares;
  if (found) {
    complain("", found->unusableNames);
    const auto context = contextBelow(parts_.mode->paths()->sharesIdentifier(), false);
    for (const auto& entry : found->entries) {
      if (entry.stat.kind != EntryKind::folder) continue;
      shares.push_back(shareDictionary(entry, context, parts_.marks->flags(entry.name)));
    }
  } else {
    parts_.log->warn("Could not list the shares: " + found.error().localizedDescription());
  }
  parts_.watcher->finishListing(listing, found);
  return shares;
}

DictionaryList Listings::bookmarks() {
  return marked(MarkKind::bookmark, parts_.mode->paths()->bookmarksIdentifier());
}

DictionaryList Listings::offlineFiles() {
  return marked(MarkKind::offline, parts_.mode->paths()->offlineFilesIdentifier());
}

// A mark whose item is not there is not shown; it shows again when the item comes back.
DictionaryList Listings::marked(MarkKind kind, const std::string& container) {
  const auto marks = parts_.marks->all(kind);
  watchParents(marks);
  DictionaryList items;
  for (const auto& item : marks) {
    auto dictionary = parts_.resolver->dictionary(container + "/" + item.name);
    if (dictionary) items.push_back(std::move(*dictionary));
  }
  return items;
}

// A marked item's changes show in the folder that it really lies in.
void Listings::watchParents(const std::vector<MarkedItem>& items) {
  std::set<std::string> folders;
  for (const auto& item : items) folders.insert(splitPath(item.path).folder);
  for (const auto& folder : folders) parts_.watcher->watchUnlisted(folder);
}

DictionaryList Listings::directory(const std::string& identifier) {
  const auto parsed = parts_.mode->paths()->parse(identifier);
  if (!parsed) {
    parts_.log->warn("No listing for \"" + identifier + "\": it cannot be an identifier.");
    return {};
  }
  switch (parsed->area) {
    case ServerArea::root:
      return rootItems();
    case ServerArea::myFiles:
      return shares();
    case ServerArea::bookmarks:
      return bookmarks();
    case ServerArea::offlineFiles:
      return offlineFiles();
    default:
      break;
  }
  const auto item = parts_.resolver->resolve(identifier);
  return item ? folder(identifier, *item) : DictionaryList();
}

DictionaryList Listings::folder(const std::string& identifier, const ResolvedItem& item) {
  auto listing = parts_.watcher->beginListing(item.path, item.view);
  auto found = parts_.backend->list(item.path);
  DictionaryList items;
  if (found) {
    complain(item.path, found->unusableNames);
    const auto context = contextBelow(identifier, item.view.starts_with('O'));
    const auto flags =
        context.offline ? std::unordered_map<std::string, MarkFlags>() : parts_.marks->flagsIn(item.path);
    items.reserve(found->entries.size());
    for (const auto& entry : found->entries) {
      items.push_back(fileDictionary(entry, context, flagsOf(flags, entry.name)));
    }
  } else {
    parts_.log->warn("Could not list \"" + identifier + "\": " + found.error().localizedDescription());
  }
  parts_.watcher->finishListing(listing, found);
  return items;
}

DictionaryList Listings::rootItems() {
  const auto mode = parts_.mode->mode();
  if (!mode.useMyFiles) return shares();
  DictionaryList items;
  items.push_back(containerDictionary(kItemTypeMyFiles));
  items.push_back(containerDictionary(kItemTypeBookmarks));
  if (mode.useOfflineFiles) items.push_back(containerDictionary(kItemTypeOfflineFiles));
  return items;
}

std::vector<std::string> Listings::rootChildren() {
  const auto mode = parts_.mode->mode();
  const auto paths = parts_.mode->paths();
  std::vector<std::string> children;
  if (mode.useMyFiles) {
    children = {paths->myFilesIdentifier(), paths->bookmarksIdentifier()};
    if (mode.useOfflineFiles) children.push_back(paths->offlineFilesIdentifier());
    return children;
  }
  const auto found = parts_.backend->list("");
  if (!found) return children;
  for (const auto& entry : found->entries) {
    if (entry.stat.kind == EntryKind::folder) children.push_back(paths->identifier(entry.name));
  }
  return children;
}

void Listings::complain(const std::string& folder, const std::vector<std::string>& names) {
  for (const auto& name : names) {
    const auto path = joinedPath(folder, name);
    {
      const std::lock_guard lock(mutex_);
      if (complained_.size() >= kMostComplaints || !complained_.insert(path).second) continue;
    }
    parts_.log->warn("\"" + path + "\" is not shown: its name is not valid UTF-8.");
  }
}

}  // namespace zelto
