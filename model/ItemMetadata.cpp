#include "model/ItemMetadata.h"

#include "support/DictionaryUtils.h"

namespace zelto {

constexpr std::array<std::string_view, kItemKeyCount> kItemKeyNames = {"itemType",
                                                                       "itemIdentifier",
                                                                       "parentItemIdentifier",
                                                                       "name",
                                                                       "dateModified",
                                                                       "dateCreated",
                                                                       "dateLoaded",
                                                                       "size",
                                                                       "isDir",
                                                                       "mimeType",
                                                                       "shareWritable",
                                                                       "hidden",
                                                                       "offline",
                                                                       "xattr",
                                                                       "bguploading",
                                                                       "targetPath",
                                                                       "bookmarked",
                                                                       "offlineBookmark",
                                                                       "canOpenWithOfficeOnline",
                                                                       "openWithOffice365",
                                                                       "canShowCheckoutStatus",
                                                                       "canCheckOut",
                                                                       "canCheckIn",
                                                                       "checkoutLabel",
                                                                       "checkedOutByCurrentUser",
                                                                       "checkedOutByOtherUser",
                                                                       "checkoutManager",
                                                                       "offlineShare"};

namespace {

constexpr std::size_t kSlots = 256;
constexpr std::uint8_t kFree = 0xff;

constexpr std::size_t slotOf(std::string_view name, std::size_t factor) {
  const auto at = [&](std::size_t index) {
    return static_cast<std::size_t>(static_cast<unsigned char>(name[index]));
  };
  return (name.size() + at(0) * factor + at(name.size() / 2) * 7 + at(name.size() - 1) * 31) % kSlots;
}

struct SlotTable {
  std::size_t factor = 0;
  std::array<std::uint8_t, kSlots> keys{};
};

constexpr bool fill(SlotTable& table) {
  table.keys.fill(kFree);
  for (std::size_t key = 0; key < kItemKeyCount; ++key) {
    auto& slot = table.keys[slotOf(kItemKeyNames[key], table.factor)];
    if (slot != kFree) return false;
    slot = static_cast<std::uint8_t>(key);
  }
  return true;
}

// A table without collisions, so that one comparison settles what a name is.
consteval SlotTable makeTable() {
  SlotTable table;
  do {
    ++table.factor;
  } while (!fill(table));
  return table;
}

constexpr SlotTable kTable = makeTable();

}  // namespace

ItemMetadata::ItemMetadata(const NSDictionary& dictionary) : dictionary_(dictionary) {
  for (const auto& [entryKey, value] : dictionary) {
    const auto name = entryKey.name();
    if (name.empty()) continue;
    const auto key = kTable.keys[slotOf(name, kTable.factor)];
    if (key != kFree && kItemKeyNames[key] == name && values_[key] == nullptr) values_[key] = &value;
  }
}

bool ItemMetadata::boolean(ItemKey key) const { return u_boolForValue((*this)[key], false); }

std::optional<std::int64_t> ItemMetadata::number(ItemKey key) const {
  const auto* value = u_numberForValue((*this)[key]);
  return value != nullptr ? std::optional(value->integerValue()) : std::nullopt;
}

std::optional<std::string> ItemMetadata::text(ItemKey key) const {
  const auto* value = (*this)[key];
  const auto* text = value != nullptr ? value->asString() : nullptr;
  return text != nullptr ? std::optional(*text) : std::nullopt;
}

std::optional<NSDate> ItemMetadata::date(ItemKey key) const {
  const auto* value = (*this)[key];
  const auto* date = value != nullptr ? value->asDate() : nullptr;
  return date != nullptr ? std::optional(*date) : std::nullopt;
}

}  // namespace zelto
