#pragma once

#include <string>

#include "hostapp/MarkedItems.h"
#include "hostapp/ServerBackend.h"
#include "platform/foundation/PropertyList.h"

namespace zelto {

// Item dictionaries as the extension reads them. What would be false is left out, since an absent key
// reads as false.

// What all items of one listing have in common.
struct ListingContext {
  std::string parentIdentifier;
  // What the entries' identifiers begin with: the parent's identifier and a slash, except for the root.
  std::string identifierPrefix;
  bool offline = false;  // shown below the offline-files container
};

ListingContext contextBelow(const std::string& parentIdentifier, bool offline);

// A file, folder or symbolic link.
NSDictionary fileDictionary(const BackendEntry& entry, const ListingContext& context, MarkFlags flags);
NSDictionary shareDictionary(const BackendEntry& entry, const ListingContext& context, MarkFlags flags);
NSDictionary bookmarkDictionary(const MarkedItem& item, const std::string& bookmarksIdentifier,
                                const std::string& linkTarget, bool offline);
// One of the static containers, by its item type.
NSDictionary containerDictionary(int itemType);

inline constexpr int kItemTypeMyFiles = 1;
inline constexpr int kItemTypeOfflineFiles = 2;
inline constexpr int kItemTypeBookmarks = 3;
inline constexpr int kItemTypeBookmark = 4;
inline constexpr int kItemTypeShare = 5;
inline constexpr int kItemTypeFile = 8;
inline constexpr int kItemTypeFolder = 9;
inline constexpr int kItemTypeSymbolicLink = 10;

}  // namespace zelto
