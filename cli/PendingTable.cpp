#include "cli/PendingTable.h"

#include <algorithm>

#include <fmt/format.h>

#include "cli/JsonFields.h"
#include "cli/Text.h"

namespace zelto::cli {

namespace {

constexpr std::size_t kWidestPath = 60;

// Columns of a terminal, as far as code points tell.
std::size_t width(const std::string& text) {
  return static_cast<std::size_t>(
      std::ranges::count_if(text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

std::string padded(std::string text, std::size_t columns) {
  const std::size_t has = width(text);
  return has < columns ? text + std::string(columns - has, ' ') : text;
}

// What a change has to send; how much of it is there, while it is being sent.
std::string sizeText(const NSDictionary& change) {
  const auto total = numberField(change, "total");
  if (total <= 0) return "";
  const auto completed = std::clamp<std::int64_t>(numberField(change, "completed"), 0, total);
  const std::string size = byteCount(static_cast<std::uint64_t>(total));
  if (completed == 0) return size;
  return fmt::format("{:.0f} % of {}", 100.0 * static_cast<double>(completed) / static_cast<double>(total),
                     size);
}

template <typename Use>
void forEach(const NSArray& changes, Use use) {
  for (const PropertyListValue& change : changes) {
    if (change.asDictionary() != nullptr) use(*change.asDictionary());
  }
}

std::string withoutTrailingSpace(std::string line) {
  line.erase(line.find_last_not_of(' ') + 1);
  return line + "\n";
}

}  // namespace

std::string pendingTable(const NSArray& changes) {
  std::size_t pathColumns = 4;
  forEach(changes, [&pathColumns](const NSDictionary& change) {
    pathColumns = std::max(pathColumns, std::min(kWidestPath, width(printable(textField(change, "path")))));
  });
  std::string table;
  const auto row = [&table, pathColumns](const std::string& state, const std::string& kind,
                                         const std::string& size, const std::string& path,
                                         const std::string& since, const std::string& reason) {
    table += withoutTrailingSpace(fmt::format("{:<9}  {:<8}  {:>15}  {:<16}  {}  {}", state, kind, size,
                                              since, padded(path, pathColumns), reason));
  };
  forEach(changes, [&](const NSDictionary& change) {
    if (table.empty()) row("STATE", "KIND", "SIZE", "PATH", "SINCE", "REASON");
    row(printable(textField(change, "state")), printable(textField(change, "kind")), sizeText(change),
        printable(textField(change, "path")), localTime(realField(change, "since")),
        printable(textField(change, "reason")));
  });
  return table;
}

std::string failureList(const NSArray& changes) {
  std::string list;
  forEach(changes, [&list](const NSDictionary& change) {
    const std::string reason = textField(change, "reason");
    list += fmt::format("{}: {}\n", printable(textField(change, "path")),
                        reason.empty() ? "not taken by the server" : printable(reason));
  });
  return list;
}

}  // namespace zelto::cli
