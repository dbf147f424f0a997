#pragma once

#include <expected>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include <plist/plist.h>

#include "platform/foundation/PropertyList.h"

namespace zelto {

struct PropertyListNodeDeleter {
  void operator()(void* node) const { plist_free(node); }
};
// Owns a tree of the property list library.
using PropertyListNode = std::unique_ptr<std::remove_pointer_t<plist_t>, PropertyListNodeDeleter>;

// The tree in XML or binary form. ERRORS: the reason why the bytes were refused.
std::expected<PropertyListNode, std::string> propertyListNode(std::span<const std::byte> bytes);

// The value of a boolean, number, string or data node.
std::optional<PropertyListValue> scalarValue(plist_t node);
// The value of any tree without references (UIDs).
std::optional<PropertyListValue> treeValue(plist_t node);
// The elements of an array node, empty for another one.
std::vector<plist_t> arrayElements(plist_t node);

}  // namespace zelto
