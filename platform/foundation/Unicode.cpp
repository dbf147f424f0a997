#include "platform/foundation/Unicode.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include <unicode/utf8.h>

namespace zelto {

bool isValidUTF8(std::string_view text) {
  if (text.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) return false;
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  const auto length = static_cast<std::int32_t>(text.size());
  for (std::int32_t i = 0; i < length;) {
    UChar32 character = 0;
    U8_NEXT(bytes, i, length, character);
    if (character < 0) return false;
  }
  return true;
}

std::optional<char32_t> nextCharacter(std::string_view text, std::size_t& at) {
  constexpr std::size_t kLongestCharacter = 4;
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.data() + at);
  const auto length = static_cast<std::int32_t>(std::min(text.size() - at, kLongestCharacter));
  std::int32_t used = 0;
  UChar32 character = 0;
  U8_NEXT(bytes, used, length, character);
  at += static_cast<std::size_t>(used);
  if (character < 0) return std::nullopt;
  return static_cast<char32_t>(character);
}

}  // namespace zelto
