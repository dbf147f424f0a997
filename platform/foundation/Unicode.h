#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace zelto {

// Whether the text is well-formed UTF-8 (no surrogates, no overlong forms).
bool isValidUTF8(std::string_view text);
// The character at an index, which is moved behind it; nothing, and a step of at least one byte, where the
// bytes are not UTF-8. REQUIRES: `at` is less than the size.
std::optional<char32_t> nextCharacter(std::string_view text, std::size_t& at);

}  // namespace zelto
