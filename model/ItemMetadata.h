#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/PropertyList.h"

namespace zelto {

// The keys under which the host describes an item.
enum class ItemKey : std::uint8_t {
  itemType,
  itemIdentifier,
  parentItemIdentifier,
  name,
  dateModified,
  dateCreated,
  dateLoaded,
  size,
  isDir,
  mimeType,
  shareWritable,
  hidden,
  offline,
  xattr,
  bguploading,
  targetPath,
  bookmarked,
  offlineBookmark,
  canOpenWithOfficeOnline,
  openWithOffice365,
  canShowCheckoutStatus,
  canCheckOut,
  canCheckIn,
  checkoutLabel,
  checkedOutByCurrentUser,
  checkedOutByOtherUser,
  checkoutManager,
  offlineShare,
  count
};

inline constexpr auto kItemKeyCount = static_cast<std::size_t>(ItemKey::count);
// In the order of ItemKey.
extern const std::array<std::string_view, kItemKeyCount> kItemKeyNames;

// The values of an item metadata dictionary by key, found in one pass over it: looking up some twenty keys
// one by one is what making an item would otherwise spend most of its time on.
// REQUIRES: the dictionary outlives the object and does not change.
class ItemMetadata {
 public:
  explicit ItemMetadata(const NSDictionary& dictionary);

  const NSDictionary& dictionary() const { return dictionary_; }
  // Null where the key is missing.
  const PropertyListValue* operator[](ItemKey key) const { return values_[static_cast<std::size_t>(key)]; }

  bool boolean(ItemKey key) const;
  std::optional<std::int64_t> number(ItemKey key) const;
  // Nothing for a value of another type.
  std::optional<std::string> text(ItemKey key) const;
  std::optional<NSDate> date(ItemKey key) const;

 private:
  const NSDictionary& dictionary_;
  std::array<const PropertyListValue*, kItemKeyCount> values_{};
};

}  // namespace zelto
