#include "platform/foundation/NSURLComponents.h"

#include <charconv>

#include "platform/foundation/ParsedUri.h"
#include "platform/foundation/PercentEncoding.h"

namespace zelto {
namespace {

// The parser goes one call deeper for each part of a path.
constexpr std::size_t kLongest = std::size_t{64} << 10;

std::optional<std::int64_t> numberOf(std::string_view digits) {
  std::int64_t number = 0;
  const auto* const end = digits.data() + digits.size();
  const auto parsed = std::from_chars(digits.data(), end, number);
  return parsed.ec == std::errc() && parsed.ptr == end ? std::optional(number) : std::nullopt;
}

}  // namespace

std::optional<NSURLComponents> NSURLComponents::fromString(std::string_view text) {
  NSURLComponents result;
  ParsedUri parsed;
  // A text without a pointer is what the parser takes for a fault of its caller.
  if (text.empty() || text.size() > kLongest || !parsed.parse(text)) return std::nullopt;
  const auto& uri = parsed.uri;
  result.text_ = text;
  if (uri.scheme.first != nullptr) result.scheme_ = textOf(uri.scheme);
  if (uri.hostText.first != nullptr) {
    result.host_ = stringByRemovingPercentEncoding(textOf(uri.hostText));
    if (!result.host_) return std::nullopt;
  }
  if (const auto digits = textOf(uri.portText); !digits.empty()) {
    result.port_ = numberOf(digits);
    if (!result.port_) return std::nullopt;
  }
  return result;
}

}  // namespace zelto
