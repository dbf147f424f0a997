// The six static containers, each made on first use and never destroyed.
#include "model/FileProviderItem.h"
#include "model/FileProviderUtils.h"
#include "support/ZeltoLocalise.h"

namespace zelto {

namespace {

FileProviderItemPtr* newContainer(FileProviderItemType type, const std::string& identifier,
                                  std::optional<std::string> parent, const std::string& filename) {
  auto item = std::make_shared<FileProviderItem>();
  item->setItemType(type);
  item->setItemIdentifier(identifier);
  item->setParentItemIdentifier(std::move(parent));
  item->setFilename(filename);
  item->updateContentType(UTType::folder());
  item->flags().isDirectory = true;
  item->setContentPolicy(NSFileProviderContentPolicy::downloadLazilyAndEvictOnRemoteUpdate);
  item->setDates(NSDate::now());
  return new FileProviderItemPtr(std::move(item));
}

const std::string* newTopLevelPath(const char* token) {
  return new std::string("/" + ZeltoLocalise::localise(token));
}

}  // namespace

const std::string& FileProviderItem::identifierForMyFiles() {
  static const auto* const identifier = newTopLevelPath("MY_FILES");
  return *identifier;
}

const std::string& FileProviderItem::identifierForBookmarks() {
  static const auto* const identifier = newTopLevelPath("BOOKMARKS");
  return *identifier;
}

const std::string& FileProviderItem::identifierForOfflineFiles() {
  static const auto* const identifier = newTopLevelPath("OFFLINE_FILES");
  return *identifier;
}

const FileProviderItemPtr& FileProviderItem::providerItemForRoot() {
  static const auto* const item = newContainer(
      FileProviderItemTypeRoot, NSFileProviderRootContainerItemIdentifier, std::nullopt, "Zelto");
  return *item;
}

const FileProviderItemPtr& FileProviderItem::providerItemForTrash() {
  static const auto* const item = newContainer(
      FileProviderItemTypeTrash, NSFileProviderTrashContainerItemIdentifier, std::nullopt, "Trash");
  return *item;
}

const FileProviderItemPtr& FileProviderItem::providerItemForWorkingSet() {
  static const auto* const item =
      newContainer(FileProviderItemTypeWorkingSet, NSFileProviderWorkingSetContainerItemIdentifier,
                   std::nullopt, "Recent");
  return *item;
}

const FileProviderItemPtr& FileProviderItem::providerItemForMyFiles() {
  static const auto* const item =
      newContainer(FileProviderItemTypeMyFiles, identifierForMyFiles(),
                   NSFileProviderRootContainerItemIdentifier, ZeltoLocalise::localise("MY_FILES"));
  return *item;
}

const FileProviderItemPtr& FileProviderItem::providerItemForOfflineFiles() {
  static const auto* const item =
      newContainer(FileProviderItemTypeOfflineFiles, identifierForOfflineFiles(),
                   NSFileProviderRootContainerItemIdentifier, ZeltoLocalise::localise("OFFLINE_FILES"));
  return *item;
}

const FileProviderItemPtr& FileProviderItem::providerItemForBookmarks() {
  static const auto* const item =
      newContainer(FileProviderItemTypeBookmarks, identifierForBookmarks(),
                   NSFileProviderRootContainerItemIdentifier, ZeltoLocalise::localise("BOOKMARKS"));
  return *item;
}

FileProviderItemPtr FileProviderItem::providerItemForStaticIdentifier(const std::string& identifier) {
  if (FileProviderUtils::isRootIdentifier(identifier)) return providerItemForRoot();
  if (FileProviderUtils::isWorkingSetIdentifier(identifier)) return providerItemForWorkingSet();
  if (FileProviderUtils::isTrashIdentifier(identifier)) return providerItemForTrash();
  if (FileProviderUtils::isMyFilesIdentifier(identifier)) return providerItemForMyFiles();
  if (FileProviderUtils::isOfflineFilesDirectoryIdentifier(identifier)) return providerItemForOfflineFiles();
  if (FileProviderUtils::isBookmarksDirectoryIdentifier(identifier)) return providerItemForBookmarks();
  return nullptr;
}

}  // namespace zelto
