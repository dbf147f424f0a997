#include "platform/foundation/PropertyListNode.h"

#include <cstdlib>
#include <limits>

#include "platform/foundation/DictionaryEntries.h"
#include "platform/foundation/PropertyListCheck.h"

namespace zelto {
namespace {

std::optional<PropertyListValue> arrayValue(plist_t node) {
  NSArray array;
  for (plist_t element : arrayElements(node)) {
    auto value = treeValue(element);
    if (!value) return std::nullopt;
    array.push_back(std::move(*value));
  }
  return array;
}

std::optional<PropertyListValue> dictionaryValue(plist_t node) {
  std::vector<NSDictionary::Entry> entries;
  plist_dict_iter iterator = nullptr;
  plist_dict_new_iter(node, &iterator);
  const std::unique_ptr<void, decltype(&std::free)> iteratorOwner(iterator, &std::free);
  while (true) {
    char* key = nullptr;
    plist_t element = nullptr;
    plist_dict_next_item(node, iterator, &key, &element);
    const std::unique_ptr<char, decltype(&std::free)> keyOwner(key, &std::free);
    if (element == nullptr) return dictionaryOfEntries(std::move(entries));
    auto value = treeValue(element);
    if (key == nullptr || !value) return std::nullopt;
    entries.emplace_back(DictionaryKey(key), std::move(*value));
  }
}

PropertyListValue dateValue(plist_t node) {
  std::int32_t seconds = 0;
  std::int32_t microseconds = 0;
  plist_get_date_val(node, &seconds, &microseconds);
  return NSDate::sinceReferenceDate(seconds + microseconds * 1e-6);
}

PropertyListValue stringValue(plist_t node) {
  std::uint64_t length = 0;
  const char* const text = plist_get_string_ptr(node, &length);
  return text == nullptr ? std::string() : std::string(text, length);
}

PropertyListValue dataValue(plist_t node) {
  std::uint64_t length = 0;
  const char* const bytes = plist_get_data_ptr(node, &length);
  return bytes == nullptr ? NSData() : NSData::copyOf(std::string_view(bytes, length));
}

}  // namespace

std::expected<PropertyListNode, std::string> propertyListNode(std::span<const std::byte> bytes) {
  if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) return std::unexpected("it is too large");
  if (auto problem = problemInPropertyList(bytes)) return std::unexpected(std::move(*problem));
  plist_t node = nullptr;
  plist_from_memory(reinterpret_cast<const char*>(bytes.data()), static_cast<std::uint32_t>(bytes.size()),
                    &node);
  if (node == nullptr) return std::unexpected("it is no property list");
  return PropertyListNode(node);
}

std::optional<PropertyListValue> scalarValue(plist_t node) {
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      std::uint8_t value = 0;
      plist_get_bool_val(node, &value);
      return value != 0;
    }
    case PLIST_UINT: {
      std::uint64_t value = 0;
      plist_get_uint_val(node, &value);
      return static_cast<std::int64_t>(value);
    }
    case PLIST_REAL: {
      double value = 0;
      plist_get_real_val(node, &value);
      return value;
    }
    case PLIST_STRING:
      return stringValue(node);
    case PLIST_DATA:
      return dataValue(node);
    default:
      return std::nullopt;
  }
}

std::optional<PropertyListValue> treeValue(plist_t node) {
  switch (plist_get_node_type(node)) {
    case PLIST_ARRAY:
      return arrayValue(node);
    case PLIST_DICT:
      return dictionaryValue(node);
    case PLIST_DATE:
      return dateValue(node);
    default:
      return scalarValue(node);
  }
}

std::vector<plist_t> arrayElements(plist_t node) {
  std::vector<plist_t> elements;
  if (node == nullptr || plist_get_node_type(node) != PLIST_ARRAY) return elements;
  plist_array_iter iterator = nullptr;
  plist_array_new_iter(node, &iterator);
  const std::unique_ptr<void, decltype(&std::free)> iteratorOwner(iterator, &std::free);
  while (true) {
    plist_t element = nullptr;
    plist_array_next_item(node, iterator, &element);
    if (element == nullptr) return elements;
    elements.push_back(element);
  }
}

}  // namespace zelto
