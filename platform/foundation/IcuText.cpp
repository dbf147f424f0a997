#include "platform/foundation/IcuText.h"

#include <algorithm>
#include <cstdint>

namespace zelto {
namespace {

constexpr std::size_t kLongest = std::size_t{1} << 29;

}  // namespace

icu::UnicodeString unicodeOf(std::string_view text) {
  const auto length = static_cast<std::int32_t>(std::min(text.size(), kLongest));
  return icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), length));
}

std::string utf8Of(const icu::UnicodeString& text) {
  std::string result;
  return text.toUTF8String(result);
}

}  // namespace zelto
