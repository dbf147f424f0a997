#include "support/DictionaryUtils.h"

#include <fmt/format.h>

#include "platform/foundation/NSJSONSerialization.h"
#include "support/FileProviderLogger.h"
#include "support/ZeltoClassUtils.h"

namespace zelto {

namespace {

bool booleanOfText(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
  if (!text.empty() && (text.front() == '+' || text.front() == '-')) text.remove_prefix(1);
  text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));
  return !text.empty() && std::string_view("YyTt123456789").contains(text.front());
}

}  // namespace

bool u_boolForValue(const PropertyListValue* value, bool defaultValue) {
  const bool readable = ZeltoClassUtils::isKindOfClassForItem(value, NSClass::Number) ||
                        ZeltoClassUtils::isKindOfClassForItem(value, NSClass::String);
  if (!readable) return defaultValue;
  if (const bool* boolean = value->asBoolean()) return *boolean;
  if (const std::string* text = value->asString()) return booleanOfText(*text);
  return value->doubleValue() != 0;
}

bool u_boolForKey(const NSDictionary& dictionary, std::string_view key, bool defaultValue) {
  return u_boolForValue(dictionary.find(key), defaultValue);
}

const PropertyListValue* u_numberForValue(const PropertyListValue* value) {
  return ZeltoClassUtils::isKindOfClassForItem(value, NSClass::Number) ? value : nullptr;
}

const PropertyListValue* u_numberForKey(const NSDictionary& dictionary, std::string_view key) {
  return u_numberForValue(dictionary.find(key));
}

std::optional<std::string> u_jsonForDictionary(const std::optional<NSDictionary>& dictionary, bool pretty) {
  auto& logger = FileProviderLogger::instance();
  if (!dictionary) {
    logger.logWarn("Utils: Failed to convert dictionary to json. Reason: Null dictionary");
    return std::nullopt;
  }
  auto text = NSJSONSerialization::stringWithValue(*dictionary, pretty);
  if (text) return *std::move(text);
  // The first value is the type's name: the dictionary itself may hold what must not reach a log.
  logger.logWarn(fmt::format("Utils: Failed to convert to string '{}'. Reason: {}", "NSDictionary",
                             description(text.error())));
  return std::nullopt;
}

}  // namespace zelto
