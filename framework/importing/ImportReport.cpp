#include "framework/importing/ImportReport.h"

#include <algorithm>

#include "platform/foundation/NSJSONSerialization.h"
#include "platform/foundation/PropertyList.h"
#include "platform/foundation/Unicode.h"

namespace zelto {
namespace {

// A text that has to be UTF-8, and names of this machine need not be.
std::string readable(std::string text) {
  if (isValidUTF8(text)) return text;
  std::ranges::replace_if(
      text, [](char c) { return static_cast<unsigned char>(c) >= 0x80; }, '?');
  return text;
}

std::uint64_t count(const NSDictionary& object, std::string_view key) {
  const PropertyListValue* const value = object.find(key);
  return value == nullptr ? 0 : static_cast<std::uint64_t>(std::max<std::int64_t>(value->integerValue(), 0));
}

std::string text(const NSDictionary& object, std::string_view key) {
  const PropertyListValue* const value = object.find(key);
  return value == nullptr || value->asString() == nullptr ? std::string() : *value->asString();
}

}  // namespace

std::string ImportReport::line() const {
  const auto number = [](std::uint64_t value) { return static_cast<std::int64_t>(value); };
  const NSDictionary object{{"completed", number(completed)}, {"total", number(total)},
                            {"entries", number(entries)},     {"allEntries", number(allEntries)},
                            {"finished", finished},           {"message", readable(message)},
                            {"error", readable(error)}};
  return NSJSONSerialization::stringWithValue(object, false).value_or("{}") + "\n";
}

std::optional<ImportReport> ImportReport::ofLine(std::string_view line) {
  const auto value = NSJSONSerialization::valueWithString(std::string(line));
  const NSDictionary* const object = value ? value->asDictionary() : nullptr;
  if (object == nullptr || object->find("finished") == nullptr) return std::nullopt;
  return ImportReport{count(*object, "completed"),     count(*object, "total"),
                      count(*object, "entries"),       count(*object, "allEntries"),
                      count(*object, "finished") != 0, text(*object, "message"),
                      text(*object, "error")};
}

}  // namespace zelto
