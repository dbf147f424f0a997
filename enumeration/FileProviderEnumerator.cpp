#include "enumeration/FileProviderEnumerator.h"

#include <fmt/format.h>

#include "host/ZeltoFileProviderClient.h"
#include "model/FileProviderUtils.h"
#include "support/FileProviderLogger.h"

namespace zelto {

namespace {

std::vector<NSFileProviderItemPtr> asFrameworkItems(FileProviderItemList items) {
  return {std::make_move_iterator(items.begin()), std::make_move_iterator(items.end())};
}

void reportChanges(NSFileProviderChangeObserver& observer, const NSFileProviderSyncAnchor& anchor,
                   FileProviderItemList changed, const std::vector<std::string>& deleted) {
  const auto count = changed.size();
  if (!deleted.empty()) observer.didDeleteItemsWithIdentifiers(deleted);
  if (count != 0) observer.didUpdateItems(asFrameworkItems(std::move(changed)));
  FileProviderLogger::instance().logDebug(
      fmt::format("FP[SYNC] Updating (changes={}, deletions={})", count, deleted.size()));
  observer.finishEnumeratingChangesUpToSyncAnchor(anchor, false);
}

}  // namespace

FileProviderEnumerator::FileProviderEnumerator(std::optional<std::string> identifier, Type enumeratorType)
    : identifier_(std::move(identifier)), enumeratorType_(enumeratorType) {}

void FileProviderEnumerator::retrieveChildItemsForceUseCache(bool forceUseCache, ChildrenReply completion) {
  auto& client = ZeltoFileProviderClient::instance();
  switch (enumeratorType_) {
    case Type::root:
      return retrieveChildItemsForRootWithCompletion(std::move(completion));
    case Type::myFiles:
      return client.providerItemsForSharesWithCompletion(std::move(completion));
    case Type::offlineFiles:
      return client.providerItemsForRootOfflineFilesWithCompletion(std::move(completion));
    case Type::bookmarks:
      return client.providerItemsForBookmarksWithCompletion(std::move(completion));
    case Type::bookmark:
      return client.providerItemsForBookmarkIdentifier(identifier_.value_or(""), std::move(completion));
    case Type::directory:
      return client.providerItemsForDirectory(identifier_.value_or(""), forceUseCache, std::move(completion));
    case Type::workingSet:
      return completion(FileProviderItemList{FileProviderItem::providerItemForRoot()});
    case Type::trash:
      return completion(std::nullopt);
  }
  FileProviderLogger::instance().logWarn(
      fmt::format("FP[List] Unrecognised item '{}'", description(identifier_)));
  completion(std::nullopt);
}

void FileProviderEnumerator::retrieveChildItemsForRootWithCompletion(ChildrenReply completion) {
  auto& client = ZeltoFileProviderClient::instance();
  if (!client.useMyFiles()) return client.providerItemsForSharesWithCompletion(std::move(completion));
  FileProviderItemList items{FileProviderItem::providerItemForMyFiles(),
                             FileProviderItem::providerItemForBookmarks()};
  if (client.useOfflineFiles()) items.push_back(FileProviderItem::providerItemForOfflineFiles());
  completion(std::move(items));
}

void FileProviderEnumerator::invalidate() {
  if (enumeratorType_ != Type::directory) return;
  ZeltoFileProviderClient::instance().enumeratorInvalidatedPath(identifier_.value_or(""));
}

void FileProviderEnumerator::enumerateItemsForObserver(
    std::shared_ptr<NSFileProviderEnumerationObserver> observer, const NSFileProviderPage&) {
  retrieveChildItemsForceUseCache(false, [identifier = identifier_, observer = std::move(observer)](
                                             std::optional<FileProviderItemList> items) {
    auto list = std::move(items).value_or(FileProviderItemList());
    FileProviderLogger::instance().logDebug(
        fmt::format("FP[List] {} (count={})", description(identifier), list.size()));
    observer->didEnumerateItems(asFrameworkItems(std::move(list)));
    observer->finishEnumeratingUpToPage(std::nullopt);
  });
}

void FileProviderEnumerator::enumerateChangesForObserver(
    std::shared_ptr<NSFileProviderChangeObserver> observer, const NSFileProviderSyncAnchor& fromSyncAnchor) {
  ZeltoFileProviderClient::instance().retrieveChanges(
      [observer = std::move(observer), anchor = fromSyncAnchor](FileProviderItemList changed,
                                                                std::vector<std::string> deleted) {
        reportChanges(*observer, anchor, std::move(changed), deleted);
      });
}

void FileProviderEnumerator::currentSyncAnchorWithCompletionHandler(
    Completion<std::optional<NSFileProviderSyncAnchor>> completionHandler) {
  completionHandler(FileProviderUtils::dataForDate(NSDate::now()));
}

}  // namespace zelto
