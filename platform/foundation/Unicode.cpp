#include "platform/foundation/Unicode.h"

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

}  // namespace zelto
