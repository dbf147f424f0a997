#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>

namespace zelto {

// Limits that the property list library does not set itself, checked before it sees the bytes: nesting
// (it recurses), cycles, and objects that are referred to so often that the tree would outgrow memory.
// The reason for refusing the bytes, or nothing when the library may read them.
std::optional<std::string> problemInPropertyList(std::span<const std::byte> bytes);

}  // namespace zelto
