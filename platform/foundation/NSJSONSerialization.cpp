#include "platform/foundation/NSJSONSerialization.h"

#include <cmath>
#include <optional>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "platform/foundation/JsonReader.h"

namespace zelto {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kPropertyListReadCorruptError = 3840;
constexpr int kPropertyListWriteInvalidError = 3852;
constexpr std::size_t kMaximumBytes = std::size_t{64} << 20;
constexpr std::size_t kMaximumObjectDepth = 512;
constexpr int kIndentation = 2;

NSError readError(std::string_view problem) {
  return {NSCocoaErrorDomain,
          kPropertyListReadCorruptError,
          {{NSLocalizedDescriptionKey, fmt::format("The text is not readable as JSON: {}.", problem)}}};
}

NSError writeError(std::string_view problem) {
  return {NSCocoaErrorDomain,
          kPropertyListWriteInvalidError,
          {{NSLocalizedDescriptionKey, fmt::format("The value cannot be written as JSON: {}.", problem)}}};
}

// Nothing for a value that JSON cannot express.
std::optional<Json> jsonOf(const PropertyListValue& value, std::size_t depth);

std::optional<Json> jsonOf(const NSArray& array, std::size_t depth) {
  Json json = Json::array();
  for (const auto& value : array) {
    auto element = jsonOf(value, depth + 1);
    if (!element) return std::nullopt;
    json.push_back(std::move(*element));
  }
  return json;
}

std::optional<Json> jsonOf(const NSDictionary& dictionary, std::size_t depth) {
  Json json = Json::object();
  for (const auto& [key, value] : dictionary) {
    auto member = jsonOf(value, depth + 1);
    if (!member) return std::nullopt;
    json.get_ref<Json::object_t&>().push_back({std::string(key.name()), std::move(*member)});
  }
  return json;
}

std::optional<Json> jsonOf(const PropertyListValue& value, std::size_t depth) {
  if (depth > kMaximumObjectDepth) return std::nullopt;
  if (const auto* boolean = value.asBoolean()) return Json(*boolean);
  if (const auto* integer = value.asInteger()) return Json(*integer);
  if (const auto* string = value.asString()) return Json(*string);
  if (const auto* real = value.asReal())
    return std::isfinite(*real) ? std::optional(Json(*real)) : std::nullopt;
  if (const auto* array = value.asArray()) return jsonOf(*array, depth);
  if (const auto* dictionary = value.asDictionary()) return jsonOf(*dictionary, depth);
  return std::nullopt;
}

}  // namespace

std::expected<std::string, NSError> NSJSONSerialization::stringWithValue(const PropertyListValue& value,
                                                                         bool pretty) {
  const auto json = jsonOf(value, 0);
  if (!json) return std::unexpected(writeError("it holds a value that JSON does not have"));
  try {
    return json->dump(pretty ? kIndentation : -1);
  } catch (const nlohmann::json::exception& exception) {
    return std::unexpected(writeError(exception.what()));
  }
}

std::expected<PropertyListValue, NSError> NSJSONSerialization::valueWithString(std::string_view text) {
  if (text.size() > kMaximumBytes) return std::unexpected(readError("too long"));
  // The parser takes a NUL for the end, whatever follows it.
  if (text.contains('\0')) return std::unexpected(readError("a NUL byte"));
  JsonReader reader;
  bool complete = false;
  try {
    complete = nlohmann::json::sax_parse(text, &reader);
  } catch (const nlohmann::json::exception& exception) {
    return std::unexpected(readError(exception.what()));
  }
  if (!complete) return std::unexpected(readError(reader.problem()));
  auto root = reader.takeRoot();
  if (!root || (root->asArray() == nullptr && root->asDictionary() == nullptr)) {
    return std::unexpected(readError("the root is neither an object nor an array"));
  }
  return std::move(*root);
}

}  // namespace zelto
