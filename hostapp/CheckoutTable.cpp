#include "hostapp/CheckoutTable.h"

#include <cmath>

#include "hostapp/BeneathFolder.h"
#include "hostapp/Checkout.h"
#include "hostapp/ServerPaths.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "platform/foundation/Unicode.h"

namespace zelto {

namespace {

constexpr std::size_t kMostEntries = 10'000;
constexpr const char* kCheckouts = "checkouts";

std::optional<std::pair<std::string, CheckoutTable::Entry>> entryOf(const PropertyListValue& value) {
  const auto* dictionary = value.asDictionary();
  if (dictionary == nullptr) return std::nullopt;
  const auto text = [dictionary](const char* key) {
    const auto* found = dictionary->find(key);
    const auto* string = found != nullptr ? found->asString() : nullptr;
    return string != nullptr ? *string : std::string();
  };
  const auto path = text("path");
  const auto user = text("user");
  const auto* since = dictionary->find("since");
  if (!isRelativePath(path) || !isValidUTF8(path) || !isUserName(user) || since == nullptr)
    return std::nullopt;
  const double seconds = since->doubleValue();
  if (!std::isfinite(seconds) || std::abs(seconds) > 1e11) return std::nullopt;
  return std::pair{path, CheckoutTable::Entry{user, NSDate::since1970(seconds)}};
}

}  // namespace

std::optional<CheckoutTable> CheckoutTable::decoded(std::string_view text) {
  CheckoutTable table;
  if (text.empty()) return table;
  const auto value = NSJSONSerialization::valueWithString(text);
  const auto* root = value ? value->asDictionary() : nullptr;
  const auto* list = root != nullptr ? root->find(kCheckouts) : nullptr;
  const auto* entries = list != nullptr ? list->asArray() : nullptr;
  if (entries == nullptr) return std::nullopt;
  for (const auto& each : *entries) {
    auto entry = entryOf(each);
    if (entry && table.size() < kMostEntries) table.entries_.insert(std::move(*entry));
  }
  return table;
}

std::string CheckoutTable::encoded() const {
  NSArray list;
  for (const auto& [path, entry] : entries_) {
    list.push_back(
        NSDictionary{{"path", path}, {"user", entry.user}, {"since", entry.since.timeIntervalSince1970()}});
  }
  return NSJSONSerialization::stringWithValue(NSDictionary{{kCheckouts, list}}, false).value_or("");
}

const CheckoutTable::Entry* CheckoutTable::at(std::string_view path) const {
  const auto found = entries_.find(path);
  return found == entries_.end() ? nullptr : &found->second;
}

CheckoutTable::Entries CheckoutTable::atOrBelow(std::string_view path) const {
  Entries found;
  for (const auto& entry : entries_) {
    if (liesIn(entry.first, path)) found.insert(entry);
  }
  return found;
}

CheckoutTable::Entries CheckoutTable::inFolder(std::string_view folder) const {
  Entries found;
  for (const auto& [path, entry] : entries_) {
    const auto split = splitPath(path);
    if (split.folder == folder) found.emplace(split.name, entry);
  }
  return found;
}

void CheckoutTable::remove(std::string_view path) {
  const auto found = entries_.find(path);
  if (found != entries_.end()) entries_.erase(found);
}

std::vector<std::string> CheckoutTable::differencesTo(const CheckoutTable& other) const {
  std::vector<std::string> paths;
  for (const auto& [path, entry] : entries_) {
    const auto* there = other.at(path);
    if (there == nullptr || !(*there == entry)) paths.push_back(path);
  }
  for (const auto& [path, entry] : other.entries_) {
    if (at(path) == nullptr) paths.push_back(path);
  }
  return paths;
}

}  // namespace zelto
