#include "platform/foundation/PercentEncoding.h"

#include <charconv>
#include <cstdint>

#include <fmt/format.h>

#include "platform/foundation/Unicode.h"

namespace zelto {

std::optional<std::string> stringByAddingPercentEncoding(std::string_view text,
                                                         const NSCharacterSet& allowed) {
  if (!isValidUTF8(text)) return std::nullopt;
  constexpr unsigned char kPastAscii = 0x80;
  std::string result;
  result.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < kPastAscii && allowed.characterIsMember(byte)) {
      result += c;
    } else {
      result += fmt::format("%{:02X}", byte);
    }
  }
  return result;
}

std::optional<std::string> stringByRemovingPercentEncoding(std::string_view text) {
  constexpr int kHexadecimal = 16;
  std::string result;
  result.reserve(text.size());
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '%') {
      result += text[at];
      continue;
    }
    const auto digits = text.substr(at + 1, 2);
    std::uint8_t byte = 0;
    const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), byte, kHexadecimal);
    if (digits.size() != 2 || parsed.ptr != digits.data() + 2) return std::nullopt;
    result += static_cast<char>(byte);
    at += 2;
  }
  return isValidUTF8(result) ? std::optional(std::move(result)) : std::nullopt;
}

}  // namespace zelto
