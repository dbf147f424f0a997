#include <fmt/format.h>

#include "cli/Commands.h"
#include "cli/JsonAnswer.h"
#include "cli/JsonFields.h"
#include "cli/MountPoint.h"
#include "cli/Survey.h"
#include "cli/Text.h"
#include "platform/foundation/NSJSONSerialization.h"

namespace zelto::cli {

namespace {

BusArguments pathArgument(const std::string& path) { return {BusBytes{resolvedPath(path)}}; }

std::string stateText(const NSDictionary& item) {
  if (textField(item, "type") != "file") return textField(item, "type");
  const std::string state = textField(item, "materialised");
  if (state == "full") return "here";
  return state == "partial" ? "partly here" : "on server";
}

void printRow(const NSDictionary& item) {
  const bool isFile = textField(item, "type") == "file";
  const auto size = static_cast<std::uint64_t>(numberField(item, "size"));
  fmt::print("{:<11} {:>9}  {}  {}\n", stateText(item), isFile ? byteCount(size) : "",
             localTime(realField(item, "modified")), printable(textField(item, "name")));
}

void printItem(const NSDictionary& item) {
  for (const auto& [key, value] : item) {
    std::string text = value.asString() != nullptr ? *value.asString() : description(value);
    if (key.name() == "modified") text = localTime(value.doubleValue());
    if (key.name() == "size" || key.name() == "materialisedBytes") {
      text = fmt::format("{} ({})", value.integerValue(),
                         byteCount(static_cast<std::uint64_t>(value.integerValue())));
    }
    if (key.name() == "ranges") {
      text = NSJSONSerialization::stringWithValue(value, false).value_or("");
    }
    fmt::print("{:<18} {}\n", key.name(), printable(text));
  }
}

}  // namespace

Outcome list(const ListOptions& options, const NamedDomain& domain, bool json) {
  const auto manager = managerFor(domain, options.path);
  if (!manager) return std::unexpected(manager.error());
  if (json) return printAnswer(*manager, "List", pathArgument(options.path));
  const auto items = manager->value("List", pathArgument(options.path));
  if (!items) return std::unexpected(items.error());
  if (items->asArray() == nullptr) return failure(ExitCode::failed, "The list is not understood.");
  for (const PropertyListValue& item : *items->asArray()) {
    if (item.asDictionary() != nullptr) printRow(*item.asDictionary());
  }
  return {};
}

Outcome item(const ItemOptions& options, const NamedDomain& domain, bool json) {
  const auto manager = managerFor(domain, options.path);
  if (!manager) return std::unexpected(manager.error());
  if (json) return printAnswer(*manager, "Item", pathArgument(options.path));
  const auto found = manager->object("Item", pathArgument(options.path));
  if (!found) return std::unexpected(found.error());
  printItem(*found);
  return {};
}

Outcome evict(const EvictOptions& options, const NamedDomain& domain, bool json) {
  std::uint64_t freed = 0;
  for (const std::string& path : options.paths) {
    const auto manager = managerFor(domain, path);
    if (!manager) return std::unexpected(manager.error());
    const auto reply = manager->call("Evict", "ay", pathArgument(path));
    if (!reply) return std::unexpected(reply.error());
    const auto* bytes = reply->empty() ? nullptr : std::get_if<std::uint64_t>(reply->data());
    freed += bytes == nullptr ? 0 : *bytes;
  }
  if (json) {
    fmt::print("{{\"freed\": {}}}\n", freed);
  } else {
    fmt::print("{} freed.\n", byteCount(freed));
  }
  return {};
}

}  // namespace zelto::cli
