// Items from the dictionaries in which the host describes them, one factory per kind of item.
#include <cstdlib>

#include <fmt/format.h>

#include "model/FileProviderItem.h"
#include "model/FileProviderUtils.h"
#include "model/ItemMetadata.h"
#include "support/FileProviderLogger.h"

namespace zelto {

namespace {

constexpr auto kContentPolicy = NSFileProviderContentPolicy::downloadLazilyAndEvictOnRemoteUpdate;
constexpr std::int64_t kLinkServiceSize = 1024;

FileProviderItemPtr warnNoItem(const char* what, const NSDictionary& dictionary) {
  FileProviderLogger::instance().logWarn(
      fmt::format("FP[Item] {} for dictionary {}", what, description(dictionary)));
  return nullptr;
}

FileProviderItemPtr invalidFile(const char* field, const NSDictionary& dictionary) {
  FileProviderLogger::instance().logError(
      fmt::format("FP[FILEITEM] Invalid {} (dictionary={})", field, description(dictionary)));
  return nullptr;
}

FileProviderItemPtr namedItem(const ItemMetadata& metadata) {
  auto item = std::make_shared<FileProviderItem>();
  item->setItemIdentifier(metadata.text(ItemKey::itemIdentifier));
  item->setParentItemIdentifier(metadata.text(ItemKey::parentItemIdentifier));
  item->setFilename(metadata.text(ItemKey::name));
  item->setContentPolicy(kContentPolicy);
  return item;
}

// A size whose type nobody checked: whatever gives a number counts.
std::optional<std::int64_t> sizeAsItStands(const PropertyListValue* value) {
  if (value == nullptr) return std::nullopt;
  if (const auto* text = value->asString()) return std::strtoll(text->c_str(), nullptr, 10);
  return value->isNumber() ? std::optional(value->integerValue()) : std::nullopt;
}

void setOnlineFields(FileProviderItem& item, const ItemMetadata& metadata) {
  auto& flags = item.flags();
  flags.canBookmark = !flags.isOfflineFile;
  flags.isBookmarked = metadata.boolean(ItemKey::bookmarked);
  flags.isOfflineBookmark = metadata.boolean(ItemKey::offlineBookmark);
  flags.canOpenWithOfficeOnline = metadata.boolean(ItemKey::canOpenWithOfficeOnline);
  flags.canOpenWithOffice365 = metadata.boolean(ItemKey::openWithOffice365);
}

void setCheckoutFields(FileProviderItem& item, const ItemMetadata& metadata) {
  auto& flags = item.flags();
  if (!metadata.boolean(ItemKey::canShowCheckoutStatus)) return;
  flags.canShowCheckoutStatus = true;
  flags.canCheckOut = metadata.boolean(ItemKey::canCheckOut);
  flags.canCheckIn = metadata.boolean(ItemKey::canCheckIn);
  item.setCheckoutLabel(metadata.text(ItemKey::checkoutLabel));
  flags.checkedOutByCurrentUser = metadata.boolean(ItemKey::checkedOutByCurrentUser);
  flags.checkedOutByOtherUser = metadata.boolean(ItemKey::checkedOutByOtherUser);
  flags.checkOutManager = metadata.boolean(ItemKey::checkoutManager);
}

void makeDirectory(FileProviderItem& item) {
  item.flags().isDirectory = true;
  item.updateContentType(UTType::folder());
}

void makeFile(FileProviderItem& item, const ItemMetadata& metadata) {
  item.flags().isDirectory = false;
  item.updateContentType(FileProviderUtils::contentTypeForMimeType(metadata.text(ItemKey::mimeType), false));
  item.setItemType(FileProviderItemTypeFile);
  item.setDocumentSize(metadata.number(ItemKey::size));
  setCheckoutFields(item, metadata);
}

void setServerFields(FileProviderItem& item, const ItemMetadata& metadata) {
  auto& flags = item.flags();
  item.setDates(metadata.date(ItemKey::dateModified));
  flags.isShareWritable = metadata.boolean(ItemKey::shareWritable);
  flags.isHidden = metadata.boolean(ItemKey::hidden);
  flags.isOfflineFile = metadata.boolean(ItemKey::offline);
  const auto* attributes = metadata[ItemKey::xattr];
  const auto* entries = attributes != nullptr ? attributes->asDictionary() : nullptr;
  if (entries != nullptr && !entries->empty()) item.setExtendedAttributes(*attributes);
  item.setChildItemCount(0);
  flags.isBackgroundUploading = metadata.boolean(ItemKey::bguploading);
  const auto type = metadata.number(ItemKey::itemType).value_or(0);
  item.setItemType(static_cast<FileProviderItemType>(static_cast<std::uint32_t>(type)));
}

}  // namespace

FileProviderItemPtr FileProviderItem::providerItemForDictionary(const NSDictionary& dictionary) {
  const auto* type = dictionary.find("itemType");
  if (type == nullptr || !type->isNumber()) return warnNoItem("Nil type", dictionary);
  switch (type->integerValue()) {
    case FileProviderItemTypeRoot:
      return providerItemForRoot();
    case FileProviderItemTypeMyFiles:
      return providerItemForMyFiles();
    case FileProviderItemTypeOfflineFiles:
      return providerItemForOfflineFiles();
    case FileProviderItemTypeBookmarks:
      return providerItemForBookmarks();
    case FileProviderItemTypeBookmark:
      return providerItemForBookmarkDictionary(dictionary);
    case FileProviderItemTypeShare:
      return providerItemForShareDictionary(dictionary);
    case FileProviderItemTypeFile:
    case FileProviderItemTypeDirectory:
    case FileProviderItemTypeSymbolicLink:
      return providerItemForFileDictionary(dictionary);
    case FileProviderItemTypeLinkService:
      return providerItemForLinkServiceDictionary(dictionary);
    default:
      return warnNoItem("Unknown type", dictionary);
  }
}

FileProviderItemPtr FileProviderItem::providerItemForFileDictionary(const NSDictionary& dictionary) {
  const ItemMetadata metadata(dictionary);
  auto item = namedItem(metadata);
  if (!item->itemIdentifier()) return invalidFile("itemIdentifier", dictionary);
  if (!item->parentItemIdentifier()) return invalidFile("parentItemIdentifier", dictionary);
  if (!item->filename()) return invalidFile("filename", dictionary);
  setServerFields(*item, metadata);
  if (item->itemType() == FileProviderItemTypeSymbolicLink) {
    item->updateContentType(UTType::symbolicLink());
    item->setSymlinkTargetPath(metadata.text(ItemKey::targetPath));
    return item;
  }
  setOnlineFields(*item, metadata);
  if (metadata.boolean(ItemKey::isDir)) {
    makeDirectory(*item);
    item->setItemType(FileProviderItemTypeDirectory);
  } else {
    makeFile(*item, metadata);
  }
  return item;
}

FileProviderItemPtr FileProviderItem::providerItemForShareDictionary(const NSDictionary& dictionary) {
  const ItemMetadata metadata(dictionary);
  auto item = namedItem(metadata);
  item->setDates(metadata.date(ItemKey::dateLoaded));
  makeDirectory(*item);
  item->setItemType(FileProviderItemTypeShare);
  item->flags().isOfflineShare = metadata.boolean(ItemKey::offlineShare);
  item->flags().isShareWritable = metadata.boolean(ItemKey::shareWritable);
  return item;
}

FileProviderItemPtr FileProviderItem::providerItemForBookmarkDictionary(const NSDictionary& dictionary) {
  const ItemMetadata metadata(dictionary);
  auto item = namedItem(metadata);
  auto& flags = item->flags();
  item->setDates(metadata.date(ItemKey::dateCreated));
  flags.canBookmark = true;
  flags.isBookmarked = true;
  flags.isOfflineBookmark = metadata.boolean(ItemKey::offlineBookmark);
  item->updateContentType(UTType::symbolicLink());
  item->setSymlinkTargetPath(metadata.text(ItemKey::targetPath));
  flags.isDirectory = metadata.boolean(ItemKey::isDir);
  item->setDocumentSize(flags.isDirectory ? sizeAsItStands(metadata[ItemKey::size])
                                          : metadata.number(ItemKey::size));
  item->setItemType(FileProviderItemTypeBookmark);
  return item;
}

FileProviderItemPtr FileProviderItem::providerItemForLinkServiceDictionary(const NSDictionary& dictionary) {
  auto item = namedItem(ItemMetadata(dictionary));
  // The present time, whatever date the host gives: a link's own date means nothing to the user.
  item->setDates(NSDate::now());
  item->setItemType(FileProviderItemTypeLinkService);
  item->updateContentType(FileProviderUtils::contentTypeForMimeType(std::nullopt, false));
  item->setDocumentSize(kLinkServiceSize);
  return item;
}

}  // namespace zelto
