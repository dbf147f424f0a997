#include "platform/foundation/PropertyList.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace zelto {

PropertyListValue::PropertyListValue(NSArray value)
    : value_(std::make_shared<const NSArray>(std::move(value))) {}

PropertyListValue::PropertyListValue(NSDictionary value)
    : value_(std::make_shared<const NSDictionary>(std::move(value))) {}

const NSArray* PropertyListValue::asArray() const {
  const auto* array = std::get_if<std::shared_ptr<const NSArray>>(&value_);
  return array == nullptr ? nullptr : array->get();
}

const NSDictionary* PropertyListValue::asDictionary() const {
  const auto* dictionary = std::get_if<std::shared_ptr<const NSDictionary>>(&value_);
  return dictionary == nullptr ? nullptr : dictionary->get();
}

std::int64_t PropertyListValue::integerValue() const {
  using Limits = std::numeric_limits<std::int64_t>;
  if (const auto* boolean = asBoolean()) return *boolean ? 1 : 0;
  if (const auto* integer = asInteger()) return *integer;
  const auto* real = asReal();
  if (real == nullptr || std::isnan(*real)) return 0;
  if (*real >= 0x1p63) return Limits::max();
  if (*real < -0x1p63) return Limits::min();
  return static_cast<std::int64_t>(*real);
}

double PropertyListValue::doubleValue() const {
  if (const auto* boolean = asBoolean()) return *boolean ? 1 : 0;
  if (const auto* integer = asInteger()) return static_cast<double>(*integer);
  const auto* real = asReal();
  return real == nullptr ? 0 : *real;
}

bool operator==(const PropertyListValue& a, const PropertyListValue& b) {
  const auto* array = a.asArray();
  const auto* otherArray = b.asArray();
  if (array != nullptr && otherArray != nullptr) return array == otherArray || *array == *otherArray;
  const auto* dictionary = a.asDictionary();
  const auto* otherDictionary = b.asDictionary();
  if (dictionary != nullptr && otherDictionary != nullptr) {
    return dictionary == otherDictionary || *dictionary == *otherDictionary;
  }
  return a.value_ == b.value_;
}

NSDictionary::NSDictionary(std::initializer_list<std::pair<std::string_view, PropertyListValue>> entries) {
  entries_.reserve(entries.size());
  for (const auto& [key, value] : entries) set(key, value);
}

const PropertyListValue* NSDictionary::find(std::string_view key) const {
  const auto entry = std::ranges::find_if(entries_, [key](const Entry& e) { return e.first.name() == key; });
  return entry == entries_.end() ? nullptr : &entry->second;
}

void NSDictionary::set(std::string_view key, PropertyListValue value) {
  const auto entry = std::ranges::find_if(entries_, [key](const Entry& e) { return e.first.name() == key; });
  if (entry == entries_.end()) {
    entries_.emplace_back(DictionaryKey(key), std::move(value));
  } else {
    entry->second = std::move(value);
  }
}

bool operator==(const NSDictionary& a, const NSDictionary& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const auto& [key, value] = a.entries_[i];
    // Dictionaries from one source have their keys in one order.
    const auto& candidate = b.entries_[i];
    const auto* other = candidate.first == key ? &candidate.second : b.find(key.name());
    if (other == nullptr || !(value == *other)) return false;
  }
  return true;
}

}  // namespace zelto
