#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/foundation/NSData.h"
#include "platform/foundation/PropertyList.h"
#include "platform/foundation/PropertyListNode.h"

namespace zelto {

// Lays the values of a dictionary out as the numbered objects of a keyed archive.
class ArchiveWriter {
 public:
  // Nothing when a value is nested too deeply or a string is not UTF-8 without zero bytes.
  static std::optional<NSData> archive(const NSDictionary& root);

 private:
  using Uid = std::uint64_t;

  ArchiveWriter();

  std::optional<Uid> add(const PropertyListValue& value, std::size_t depth);
  std::optional<Uid> addString(std::string_view text);
  std::optional<Uid> addDictionary(const NSDictionary& dictionary, std::size_t depth);
  std::optional<Uid> addArray(const NSArray& array, std::size_t depth);
  Uid addDate(NSDate date);
  Uid addNode(plist_t node);
  // The object's class record follows its content, as the platform's archiver writes it.
  void setClass(plist_t object, const char* name);
  NSData finished(Uid root);

  // Owned by the tree under archive_.
  plist_t objects_;
  PropertyListNode archive_;
  Uid count_ = 0;
  std::unordered_map<std::string, Uid> strings_;
  std::unordered_map<std::string_view, Uid> classes_;
};

}  // namespace zelto
