#include <fstream>
#include <iterator>

#include "hostapp/ServerPaths.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSJSONSerialization.h"

namespace zelto {

namespace {

NSDictionary stringTable(const std::optional<std::string>& path) {
  if (!path) return {};
  std::ifstream file(*path, std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const auto value = NSJSONSerialization::valueWithString(text);
  const auto* table = value ? value->asDictionary() : nullptr;
  return table != nullptr ? *table : NSDictionary();
}

std::string textIn(const NSDictionary& table, const char* token) {
  const auto* value = table.find(token);
  const auto* text = value != nullptr ? value->asString() : nullptr;
  return text != nullptr ? *text : "";
}

}  // namespace

ContainerNames ContainerNames::ofMainBundle() {
  const auto& bundle = NSBundle::mainBundle();
  const auto localised = stringTable(bundle.pathForResource("Strings", "json"));
  const auto fallback = stringTable(bundle.pathForResource("Strings", "json", "Base.lproj"));
  const auto name = [&localised, &fallback](const char* token) {
    auto text = textIn(localised, token);
    if (text.empty()) text = textIn(fallback, token);
    return text.empty() ? std::string(token) : text;
  };
  return {name("MY_FILES"), name("BOOKMARKS"), name("OFFLINE_FILES")};
}

}  // namespace zelto
