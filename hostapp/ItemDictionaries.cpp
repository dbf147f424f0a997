#include "hostapp/ItemDictionaries.h"

#include "platform/foundation/UTType.h"

namespace zelto {

namespace {

// The keys are looked up once for all listings.
struct Keys {
  DictionaryKey itemType{"itemType"};
  DictionaryKey itemIdentifier{"itemIdentifier"};
  DictionaryKey parentItemIdentifier{"parentItemIdentifier"};
  DictionaryKey name{"name"};
  DictionaryKey dateModified{"dateModified"};
  DictionaryKey dateCreated{"dateCreated"};
  DictionaryKey dateLoaded{"dateLoaded"};
  DictionaryKey size{"size"};
  DictionaryKey isDir{"isDir"};
  DictionaryKey mimeType{"mimeType"};
  DictionaryKey shareWritable{"shareWritable"};
  DictionaryKey hidden{"hidden"};
  DictionaryKey offline{"offline"};
  DictionaryKey targetPath{"targetPath"};
  DictionaryKey bookmarked{"bookmarked"};
  DictionaryKey offlineBookmark{"offlineBookmark"};
  DictionaryKey offlineShare{"offlineShare"};
  DictionaryKey canOpenWithOfficeOnline{"canOpenWithOfficeOnline"};
  DictionaryKey openWithOffice365{"openWithOffice365"};
  DictionaryKey canShowCheckoutStatus{"canShowCheckoutStatus"};
  DictionaryKey canCheckOut{"canCheckOut"};
  DictionaryKey canCheckIn{"canCheckIn"};
  DictionaryKey checkoutLabel{"checkoutLabel"};
  DictionaryKey checkedOutByCurrentUser{"checkedOutByCurrentUser"};
  DictionaryKey checkedOutByOtherUser{"checkedOutByOtherUser"};
  DictionaryKey checkoutManager{"checkoutManager"};
};

const Keys& keys() {
  static const Keys made;
  return made;
}

void setTrue(NSDictionary& dictionary, const DictionaryKey& key, bool value) {
  if (value) dictionary.append(key, true);
}

NSDictionary named(int itemType, const std::string& name, const ListingContext& context) {
  const auto& k = keys();
  NSDictionary made;
  made.reserve(12);
  made.append(k.itemType, itemType);
  made.append(k.itemIdentifier, context.identifierPrefix + name);
  made.append(k.parentItemIdentifier, context.parentIdentifier);
  made.append(k.name, name);
  return made;
}

// Documents that office suites on the web open.
bool isOfficeDocument(std::string_view mimeType) {
  return mimeType.starts_with("application/vnd.openxmlformats-officedocument.") ||
         mimeType.starts_with("application/vnd.oasis.opendocument.") || mimeType == "application/msword" ||
         mimeType == "application/vnd.ms-excel" || mimeType == "application/vnd.ms-powerpoint";
}

void appendCheckout(NSDictionary& made, const BackendEntry& entry) {
  if (!entry.stat.keepsCheckouts) return;
  const auto& k = keys();
  made.append(k.canShowCheckoutStatus, true);
  if (!entry.checkout) return setTrue(made, k.canCheckOut, entry.stat.writable);
  const auto& checkout = *entry.checkout;
  made.append(k.checkoutLabel, checkoutLabel(checkout));
  made.append(checkout.own ? k.checkedOutByCurrentUser : k.checkedOutByOtherUser, true);
  setTrue(made, k.canCheckIn, checkout.own || checkout.mayManage);
  setTrue(made, k.checkoutManager, checkout.mayManage);
}

void appendFile(NSDictionary& made, const BackendEntry& entry, bool offline) {
  const auto& k = keys();
  auto mimeType = mimeTypeForFilename(entry.name);
  const bool office = !offline && isOfficeDocument(mimeType);
  made.append(k.size, static_cast<std::int64_t>(entry.stat.size));
  made.append(k.mimeType, std::move(mimeType));
  setTrue(made, k.canOpenWithOfficeOnline, office);
  setTrue(made, k.openWithOffice365, office);
  if (!offline) appendCheckout(made, entry);
}

int itemTypeOf(EntryKind kind) {
  switch (kind) {
    case EntryKind::folder:
      return kItemTypeFolder;
    case EntryKind::symbolicLink:
      return kItemTypeSymbolicLink;
    default:
      return kItemTypeFile;
  }
}

}  // namespace

ListingContext contextBelow(const std::string& parentIdentifier, bool offline) {
  const bool path = parentIdentifier.starts_with('/');
  return {parentIdentifier, (path ? parentIdentifier : std::string()) + "/", offline};
}

NSDictionary fileDictionary(const BackendEntry& entry, const ListingContext& context, MarkFlags flags) {
  const auto& k = keys();
  auto made = named(itemTypeOf(entry.stat.kind), entry.name, context);
  made.append(k.dateModified, NSDate::fromTimespec(entry.stat.modified));
  switch (entry.stat.kind) {
    case EntryKind::file:
      appendFile(made, entry, context.offline);
      break;
    case EntryKind::folder:
      made.append(k.isDir, true);
      break;
    case EntryKind::symbolicLink:
      made.append(k.targetPath, entry.linkTarget);
      break;
  }
  setTrue(made, k.shareWritable, entry.stat.writable);
  setTrue(made, k.hidden, entry.name.starts_with('.'));
  setTrue(made, k.offline, context.offline);
  setTrue(made, k.bookmarked, flags.bookmarked);
  setTrue(made, k.offlineBookmark, flags.offline);
  return made;
}

NSDictionary shareDictionary(const BackendEntry& entry, const ListingContext& context, MarkFlags flags) {
  auto made = named(kItemTypeShare, entry.name, context);
  made.append(keys().dateLoaded, NSDate::fromTimespec(entry.stat.modified));
  setTrue(made, keys().shareWritable, entry.stat.writable);
  setTrue(made, keys().offlineShare, flags.offline);
  return made;
}

NSDictionary bookmarkDictionary(const MarkedItem& item, const std::string& bookmarksIdentifier,
                                const std::string& linkTarget, bool offline) {
  auto made = named(kItemTypeBookmark, item.name, contextBelow(bookmarksIdentifier, false));
  made.append(keys().dateCreated, item.created);
  made.append(keys().targetPath, linkTarget);
  setTrue(made, keys().isDir, item.isFolder);
  setTrue(made, keys().offlineBookmark, offline);
  return made;
}

NSDictionary containerDictionary(int itemType) {
  NSDictionary made;
  made.append(keys().itemType, itemType);
  return made;
}

}  // namespace zelto
