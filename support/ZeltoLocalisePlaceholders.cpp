#include <fmt/format.h>

#include "platform/foundation/NSRegularExpression.h"
#include "support/ErrorUtils.h"
#include "support/FileProviderLogger.h"
#include "support/StringUtils.h"
#include "support/ZeltoLocalise.h"

namespace zelto {

namespace {

std::expected<std::string, NSError> replaced(const std::string& key, const std::string& value,
                                             const std::string& text) {
  const auto placeholder = NSRegularExpression::regularExpressionWithPattern(
      fmt::format("\\{{\\s*\\{{\\s*{}\\s*\\}}\\s*\\}}", key));
  if (!placeholder) return std::unexpected(placeholder.error());
  return placeholder->stringByReplacingMatchesInString(text, value);
}

}  // namespace

std::string ZeltoLocalise::stringByReplacingKey(const std::string& key, const std::string& withValue,
                                                const std::string& inString) {
  auto text = replaced(key, withValue, inString);
  if (text) return *std::move(text);
  FileProviderLogger::instance().logWarn(
      fmt::format("ZeltoLocalise: Failed to build regex key '{}' for '{}'. Reason={}", key, inString,
                  u_reason(text.error())));
  return inString;
}

std::string ZeltoLocalise::localise(const std::string& token, const NSDictionary& withParams) {
  auto text = localisedStringForToken(token);
  for (const auto& [key, value] : withParams) {
    text = stringByReplacingKey(std::string(key.name()), description(value), text);
  }
  return text;
}

std::string ZeltoLocalise::item(const std::string& name, std::int64_t andMore) {
  if (andMore == 0) return localise("UPLOADED_FILE", {{"file", name}});
  return localise("ITEM_AND_N_MORE", {{"name", name}, {"n", u_stringForInteger(andMore)}});
}

}  // namespace zelto
