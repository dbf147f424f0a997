// Listings and changes: the host's dictionaries become items here.
#include <chrono>
#include <thread>

#include <fmt/format.h>

#include "host/ZeltoFileProviderClient.h"
#include "model/FileProviderUtils.h"
#include "platform/foundation/Path.h"
#include "support/FileProviderLogger.h"

namespace zelto {

namespace {

constexpr auto kPauseBeforeSecondListing = std::chrono::milliseconds(500);

using Factory = FileProviderItemPtr (*)(const NSDictionary&);

// A dictionary that gives no item is left out; its factory has logged it. Each dictionary is let go as
// soon as it is converted, since a listing may hold a hundred thousand of them.
FileProviderItemList convert(DictionaryList dictionaries, Factory factory) {
  FileProviderItemList items;
  items.reserve(dictionaries.size());
  for (auto& dictionary : dictionaries) {
    if (auto item = factory(dictionary)) items.push_back(std::move(item));
    dictionary = NSDictionary();
  }
  return items;
}

FileProviderItemList convertChanges(const DictionaryList& dictionaries) {
  FileProviderItemList items;
  items.reserve(dictionaries.size());
  for (const auto& dictionary : dictionaries) {
    if (auto item = FileProviderItem::providerItemForDictionary(dictionary)) {
      items.push_back(std::move(item));
      continue;
    }
    FileProviderLogger::instance().logWarn("FP[CHANGES] Skipping nil item for " + description(dictionary));
  }
  return items;
}

bool isVirtualContainer(const std::string& identifier) {
  return FileProviderUtils::isMyFilesIdentifier(identifier) ||
         FileProviderUtils::isBookmarksDirectoryIdentifier(identifier) ||
         FileProviderUtils::isOfflineFilesDirectoryIdentifier(identifier);
}

std::shared_ptr<const FileProviderItemList> sharedList(FileProviderItemList items) {
  return std::make_shared<const FileProviderItemList>(std::move(items));
}

}  // namespace

void ZeltoFileProviderClient::enumeratorInvalidatedPath(const std::string& path) {
  const auto parent = stringByDeletingLastPathComponent(path);
  if (parent.size() < 2 || isVirtualContainer(parent)) return;
  if (const auto host = server()) host->enumeratorInvalidatedPath(path);
}

void ZeltoFileProviderClient::retrieveChanges(ItemChangesReply completion) {
  const auto host = server();
  if (!host) return;
  host->retrieveChangesWithCompletion(
      [completion = std::move(completion)](DictionaryList changed, std::vector<std::string> deleted) mutable {
        instance().invalidateCache();
        completion(convertChanges(changed), std::move(deleted));
      });
}

void ZeltoFileProviderClient::providerItemsForRootOfflineFilesWithCompletion(ItemsReply completion) {
  const auto host = server();
  if (!host) return;
  host->metadataForRootOfflineFilesWithCompletion(
      [completion = std::move(completion)](DictionaryList dictionaries) mutable {
        completion(convert(std::move(dictionaries), FileProviderItem::providerItemForDictionary));
      });
}

void ZeltoFileProviderClient::providerItemsForSharesWithCompletion(ItemsReply completion) {
  // The empty list answers whoever asks while the shares are being fetched.
  if (const auto cached = cachedShares_.getOrPut(sharedList({}))) return completion(*cached);
  const auto host = server();
  if (!host) return;
  host->metadataForSharesWithCompletion(
      [this, completion = std::move(completion)](DictionaryList dictionaries) mutable {
        auto items = convert(std::move(dictionaries), FileProviderItem::providerItemForShareDictionary);
        cachedShares_.set(sharedList(items));
        FileProviderLogger::instance().logDebug(
            fmt::format("FP[Client] Retrieved Shares (Count={})", items.size()));
        completion(std::move(items));
      });
}

void ZeltoFileProviderClient::providerItemsForBookmarksWithCompletion(ItemsReply completion) {
  if (const auto cached = cachedBookmarks_.get()) return completion(*cached);
  const auto host = server();
  if (!host) return;
  host->metadataForBookmarksWithCompletion(
      [this, completion = std::move(completion)](DictionaryList dictionaries) mutable {
        auto items = convert(std::move(dictionaries), FileProviderItem::providerItemForBookmarkDictionary);
        std::erase_if(items, [](const FileProviderItemPtr& item) { return !item->filename(); });
        cachedBookmarks_.set(sharedList(items));
        FileProviderLogger::instance().logDebug(
            fmt::format("FP[Client] Retrieved Bookmarks (Count={})", items.size()));
        completion(std::move(items));
      });
}

void ZeltoFileProviderClient::providerItemsForBookmarkIdentifier(const std::string& identifier,
                                                                 ItemsReply completion) {
  const auto host = server();
  if (!host) return;
  host->metadataForDirectoryWithBookmarkPath(
      identifier, [identifier, completion = std::move(completion)](DictionaryList dictionaries) mutable {
        auto items = convert(std::move(dictionaries), FileProviderItem::providerItemForFileDictionary);
        FileProviderLogger::instance().logDebug(
            fmt::format("FP[Client] Retrieved Bookmark Dir: '{}' (Count={})", identifier, items.size()));
        completion(std::move(items));
      });
}

void ZeltoFileProviderClient::providerItemsForDirectory(const std::string& path, bool forceUseCache,
                                                        ItemsReply completion) {
  // One pause, whatever has become of the other listing afterwards: it spares the host most doubles.
  if (directoriesBeingRefreshed_.contains(path)) std::this_thread::sleep_for(kPauseBeforeSecondListing);
  directoriesBeingRefreshed_.insert(path);
  const auto host = server();
  if (!host) return;
  host->metadataForDirectory(
      path, forceUseCache,
      [this, path, completion = std::move(completion)](DictionaryList dictionaries) mutable {
        auto items = convert(std::move(dictionaries), FileProviderItem::providerItemForDictionary);
        directoriesBeingRefreshed_.erase(path);
        completion(std::move(items));
      });
}

}  // namespace zelto
