#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "framework/replica/ItemTraits.h"
#include "framework/replica/NodeTable.h"
#include "framework/replica/VersionTemplates.h"
#include "platform/fileprovider/NSFileProviderItem.h"

namespace zelto {

// The items that could not be shown, for one listing or change list.
class LeftOut {
 public:
  void add(std::string_view name, std::string_view reason);
  // A line for each of the first ten, then how many more there were.
  void report() const;

 private:
  std::vector<std::string> lines_;
  std::size_t count_ = 0;
};

// One item, read out. The texts are the item's own.
struct ItemRecord {
  std::string_view identifier;
  std::string_view name;
  const std::optional<std::string>* parentIdentifier = nullptr;
  std::string_view symlinkTarget;
  NodeFields fields;
  std::size_t versionAt = 0;
  std::size_t versionLength = 0;
  std::size_t attributesAt = 0;
  std::size_t attributesLength = 0;
};

// Reads what the replica needs out of the items of a listing, without any lock held.
// REQUIRES: the items outlive the batch.
class ItemBatch {
 public:
  ItemBatch(const std::vector<NSFileProviderItemPtr>& items, VersionTemplates& templates,
            ItemTraitsPool& traits);

  const std::vector<ItemRecord>& records() const { return records_; }
  std::string_view version(const ItemRecord& record) const {
    return std::string_view(texts_).substr(record.versionAt, record.versionLength);
  }
  std::string_view attributes(const ItemRecord& record) const {
    return std::string_view(texts_).substr(record.attributesAt, record.attributesLength);
  }
  LeftOut& leftOut() { return leftOut_; }

 private:
  void add(NSFileProviderItem& item);
  void readVersion(NSFileProviderItem& item, ItemRecord& record);
  void readDates(NSFileProviderItem& item, NodeFields& fields);
  void readAttributes(const NSFileProviderItem& item, ItemRecord& record);

  VersionTemplates& templates_;
  ItemTraitsPool& traits_;
  std::vector<ItemRecord> records_;
  std::string texts_;
  LeftOut leftOut_;
};

bool isRootIdentifier(std::string_view identifier);

// The names and values in the bytes that a batch makes of extended attributes.
std::vector<std::pair<std::string, std::string>> decodedAttributes(std::string_view bytes);

}  // namespace zelto
