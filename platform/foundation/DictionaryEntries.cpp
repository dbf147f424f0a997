#include "platform/foundation/DictionaryEntries.h"

#include <string_view>
#include <unordered_map>
#include <utility>

namespace zelto {
namespace {

// Up to here comparing all keys is cheaper than hashing them.
constexpr std::size_t kFewEntries = 16;

NSDictionary dictionaryOfFewEntries(std::vector<NSDictionary::Entry> entries) {
  NSDictionary dictionary;
  dictionary.reserve(entries.size());
  for (auto& [key, value] : entries) {
    if (dictionary.find(key.name()) == nullptr) {
      dictionary.append(std::move(key), std::move(value));
    } else {
      dictionary.set(key.name(), std::move(value));
    }
  }
  return dictionary;
}

}  // namespace

NSDictionary dictionaryOfEntries(std::vector<NSDictionary::Entry> entries) {
  if (entries.size() <= kFewEntries) return dictionaryOfFewEntries(std::move(entries));
  std::unordered_map<std::string_view, std::size_t> places;
  std::vector<std::size_t> kept;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const auto [place, isNew] = places.try_emplace(entries[i].first.name(), i);
    if (isNew) {
      kept.push_back(i);
    } else {
      entries[place->second].second = std::move(entries[i].second);
    }
  }
  NSDictionary dictionary;
  dictionary.reserve(kept.size());
  for (const std::size_t i : kept)
    dictionary.append(std::move(entries[i].first), std::move(entries[i].second));
  return dictionary;
}

}  // namespace zelto
