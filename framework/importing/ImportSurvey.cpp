#include "framework/importing/ImportSurvey.h"

#include <unordered_map>
#include <unordered_set>

#include "platform/foundation/Path.h"

namespace zelto {
namespace {

using Arrival = ImportSurvey::Arrival;
using Listing = std::unordered_map<std::string, NSFileProviderItemPtr>;

std::expected<Listing, NSError> listByName(const ImportServer& server, const std::string& identifier) {
  const auto items = server.list(identifier);
  if (!items) return std::unexpected(items.error());
  Listing listing;
  for (const NSFileProviderItemPtr& item : *items) {
    if (item->filename()) listing.emplace(*item->filename(), item);
  }
  return listing;
}

Arrival arrivalOf(const ImportEntry& entry, const Listing& listing, const std::string& name) {
  const auto found = listing.find(name);
  if (found == listing.end()) return Arrival::missing;
  const NSFileProviderItem& item = *found->second;
  const bool folder = isFolderItem(item);
  if (folder != (entry.kind == ImportEntry::Kind::folder)) return Arrival::different;
  if (folder) return Arrival::there;
  const bool same = !item.symlinkTargetPath() && item.documentSize() == static_cast<std::int64_t>(entry.size);
  return same ? Arrival::there : Arrival::different;
}

using ByFolder = std::unordered_map<std::string, std::vector<std::size_t>>;

ByFolder entriesByFolder(const ImportTree& tree) {
  ByFolder entries;
  for (std::size_t index = 0; index < tree.entries.size(); ++index) {
    entries[stringByDeletingLastPathComponent(tree.entries[index].path)].push_back(index);
  }
  return entries;
}

void note(const ImportTree& tree, std::size_t index, const Listing& listing, ImportSurvey& survey,
          std::vector<std::string>& folders) {
  const ImportEntry& entry = tree.entries[index];
  const Arrival arrival = arrivalOf(entry, listing, lastPathComponent(entry.path));
  survey.entries[index] = arrival;
  if (arrival != Arrival::there) return;
  ++survey.count;
  survey.bytes += entry.size;
  if (entry.kind == ImportEntry::Kind::folder) folders.push_back(entry.path);
}

// What stands below something else than a folder cannot be brought over either.
void markBelowDifferent(const ImportTree& tree, ImportSurvey& survey) {
  std::unordered_set<std::string> different;
  for (std::size_t index = 0; index < tree.entries.size(); ++index) {
    const std::string& path = tree.entries[index].path;
    if (different.contains(stringByDeletingLastPathComponent(path)))
      survey.entries[index] = Arrival::different;
    if (survey.entries[index] == Arrival::different) different.insert(path);
  }
}

}  // namespace

std::expected<ImportSurvey, NSError> surveyServer(const ImportServer& server, const ImportTree& tree,
                                                  const ImportPlace& place) {
  ImportSurvey survey;
  survey.entries.resize(tree.entries.size(), Arrival::missing);
  const auto around = listByName(server, place.destination);
  if (!around) return std::unexpected(around.error());
  survey.root = arrivalOf({place.name, ImportEntry::Kind::folder}, *around, place.name);
  if (survey.root != Arrival::there) return survey;
  const auto byFolder = entriesByFolder(tree);
  std::vector<std::string> folders{""};
  while (!folders.empty()) {
    const std::string folder = std::move(folders.back());
    folders.pop_back();
    const auto held = byFolder.find(folder);
    if (held == byFolder.end()) continue;
    const auto listing =
        listByName(server, folder.empty() ? place.identifier() : place.identifier() + "/" + folder);
    if (!listing) return std::unexpected(listing.error());
    for (const std::size_t index : held->second) note(tree, index, *listing, survey, folders);
  }
  markBelowDifferent(tree, survey);
  return survey;
}

}  // namespace zelto
