#include <ctime>

#include <fmt/format.h>

#include "platform/foundation/PropertyList.h"

namespace zelto {
namespace {

constexpr std::size_t kIndentation = 4;
constexpr std::size_t kDescribedBytes = 24;

void append(std::string& text, const PropertyListValue& value, std::size_t level);

void indent(std::string& text, std::size_t level) { text.append(level * kIndentation, ' '); }

void append(std::string& text, const NSDictionary& dictionary, std::size_t level) {
  text += "{\n";
  for (const auto& [key, value] : dictionary) {
    indent(text, level + 1);
    text += key.name();
    text += " = ";
    append(text, value, level + 1);
    text += ";\n";
  }
  indent(text, level);
  text += '}';
}

void append(std::string& text, const NSArray& array, std::size_t level) {
  text += "(\n";
  for (std::size_t i = 0; i < array.size(); ++i) {
    indent(text, level + 1);
    append(text, array[i], level + 1);
    text += i + 1 < array.size() ? ",\n" : "\n";
  }
  indent(text, level);
  text += ')';
}

// A long block is shortened: descriptions are for log lines.
void append(std::string& text, const NSData& data) {
  text += fmt::format("{{length = {}, bytes = 0x", data.size());
  for (const std::byte byte : data.bytes().first(std::min(data.size(), kDescribedBytes))) {
    text += fmt::format("{:02x}", static_cast<unsigned>(byte));
  }
  text += data.size() > kDescribedBytes ? "...}" : "}";
}

void append(std::string& text, NSDate date) {
  std::tm parts{};
  const std::time_t seconds = date.timespec().tv_sec;
  if (::gmtime_r(&seconds, &parts) == nullptr) {
    text += fmt::format("{}", date.timeIntervalSinceReferenceDate());
    return;
  }
  text += fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02} +0000", std::int64_t{parts.tm_year} + 1900,
                      parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
}

void append(std::string& text, const PropertyListValue& value, std::size_t level) {
  if (const auto* boolean = value.asBoolean()) text += *boolean ? "1" : "0";
  if (const auto* integer = value.asInteger()) text += fmt::format("{}", *integer);
  if (const auto* real = value.asReal()) text += fmt::format("{}", *real);
  if (const auto* string = value.asString()) text += *string;
  if (const auto* date = value.asDate()) append(text, *date);
  if (const auto* data = value.asData()) append(text, *data);
  if (const auto* array = value.asArray()) append(text, *array, level);
  if (const auto* dictionary = value.asDictionary()) append(text, *dictionary, level);
}

}  // namespace

std::string description(const PropertyListValue& value) {
  std::string text;
  append(text, value, 0);
  return text;
}

std::string description(const NSDictionary& dictionary) {
  std::string text;
  append(text, dictionary, 0);
  return text;
}

std::string description(const std::optional<std::string>& text) { return text.value_or("(null)"); }

std::string description(const std::optional<NSDate>& date) {
  if (!date) return "(null)";
  std::string text;
  append(text, *date);
  return text;
}

}  // namespace zelto
