#include "framework/actions/StringTable.h"

#include "platform/foundation/FileContents.h"
#include "platform/foundation/NSJSONSerialization.h"

namespace zelto {

namespace {

constexpr std::size_t kLargestTable = 4 << 20;

NSDictionary readTable(const std::optional<std::string>& path) {
  if (!path) return {};
  const auto text = contentsOfFile(*path, kLargestTable);
  if (!text) return {};
  const auto value = NSJSONSerialization::valueWithString(*text);
  const auto* const table = value ? value->asDictionary() : nullptr;
  return table != nullptr ? *table : NSDictionary();
}

// In the tables a backslash before a double quote stands for an apostrophe, and before n for a line break.
std::string unescaped(const std::string& text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char next = text[i] == '\\' && i + 1 < text.size() ? text[i + 1] : '\0';
    const bool stands = next == '"' || next == 'n';
    result += !stands ? text[i] : next == 'n' ? '\n' : '\'';
    if (stands) ++i;
  }
  return result;
}

}  // namespace

StringTable::StringTable(const NSBundle& bundle)
    : localised_(readTable(bundle.pathForResource("Strings", "json"))),
      fallback_(readTable(bundle.pathForResource("Strings", "json", "Base.lproj"))) {}

std::optional<std::string> StringTable::text(const std::string& token) const {
  for (const auto* const table : {&localised_, &fallback_}) {
    const auto* const found = table->find(token);
    const auto* const text = found != nullptr ? found->asString() : nullptr;
    if (text != nullptr && !text->empty()) return unescaped(*text);
  }
  return std::nullopt;
}

}  // namespace zelto
