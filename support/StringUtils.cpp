#include "support/StringUtils.h"

#include <algorithm>

#include <fmt/format.h>

#include "platform/foundation/NSJSONSerialization.h"
#include "platform/foundation/NSRegularExpression.h"
#include "platform/foundation/NSString.h"
#include "platform/foundation/PercentEncoding.h"
#include "platform/foundation/Unicode.h"
#include "support/FileProviderLogger.h"

namespace zelto {

namespace {

constexpr std::size_t kShortestShown = 10;
constexpr std::size_t kMostShown = 10;

NSRegularExpression webPrefix() {
  return NSRegularExpression::regularExpressionWithPattern("^https*://",
                                                           NSRegularExpression::Case::Insensitive)
      .value();
}

}  // namespace

std::string u_sensitiveStringAlwaysHidden(std::string_view receiver, bool alwaysHidden) {
  if (receiver.empty()) return "<empty>";
  const auto length = lengthOfText(receiver);
  if (alwaysHidden || length < kShortestShown) return "<** hidden **>";
  const auto shown = std::min((length - 2) / 2, kMostShown);
  return fmt::format("{}...{}", textToIndex(receiver, shown), textOfLastUnits(receiver, shown));
}

std::optional<PropertyListValue> u_DictionaryForJSON(std::string_view receiver) {
  auto value = NSJSONSerialization::valueWithString(receiver);
  if (value) return *std::move(value);
  FileProviderLogger::instance().logWarn(fmt::format("Utils: Failed to convert to json '{}'.\nReason: {}",
                                                     receiver, description(value.error())));
  return std::nullopt;
}

std::string u_captilisiedString(std::string_view receiver) { return textWithCapitalisedWords(receiver); }

bool u_containsString(std::string_view receiver, std::string_view text) {
  return !text.empty() && receiver.contains(text);
}

bool u_hasHTTPSPrefix(std::string_view receiver) {
  static const auto* const prefix = new NSRegularExpression(webPrefix());
  return !receiver.empty() && prefix->hasMatchInString(receiver);
}

bool u_onlyContainsCharactersInSet(std::string_view receiver, const NSCharacterSet& set) {
  return set.containsAllOf(receiver);
}

bool u_isEqualToCaseInsensitive(std::string_view receiver, std::string_view text) {
  return isEqualIgnoringCase(receiver, text);
}

bool u_isEqualToString(std::string_view receiver, const std::optional<std::string_view>& text) {
  return text == receiver;
}

std::optional<std::string> u_pathEncodedString(std::string_view receiver) {
  return stringByAddingPercentEncoding(receiver, NSCharacterSet::URLPathAllowedCharacterSet());
}

std::optional<std::string> u_queryStringEncoded(std::string_view receiver) {
  return stringByAddingPercentEncoding(receiver, NSCharacterSet::URLQueryAllowedCharacterSet());
}

std::string u_stringForInteger(std::int64_t integer) { return fmt::format("{}", integer); }

std::string u_stringWithUTF8String(const char* buffer) {
  return buffer != nullptr && isValidUTF8(buffer) ? std::string(buffer) : std::string();
}

}  // namespace zelto
