#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "platform/foundation/DictionaryKey.h"
#include "platform/foundation/NSData.h"
#include "platform/foundation/NSDate.h"

namespace zelto {

class NSDictionary;
class PropertyListValue;

using NSArray = std::vector<PropertyListValue>;

// One property-list value. A boolean number and an integer number are different things and stay so in
// archives and across the wire. Arrays and dictionaries are immutable once inside a value and shared.
class PropertyListValue {
 public:
  // NOLINTBEGIN(google-explicit-constructor): values are written as plain literals.
  PropertyListValue(bool value) : value_(value) {}
  PropertyListValue(int value) : value_(static_cast<std::int64_t>(value)) {}
  PropertyListValue(std::int64_t value) : value_(value) {}
  PropertyListValue(double value) : value_(value) {}
  PropertyListValue(const char* value) : value_(std::string(value)) {}
  PropertyListValue(std::string_view value) : value_(std::string(value)) {}
  PropertyListValue(std::string value) : value_(std::move(value)) {}
  PropertyListValue(NSDate value) : value_(value) {}
  PropertyListValue(NSData value) : value_(std::move(value)) {}
  PropertyListValue(NSArray value);
  PropertyListValue(NSDictionary value);
  // NOLINTEND(google-explicit-constructor)

  // Each gives the value when it is of that type, else nothing.
  const bool* asBoolean() const { return std::get_if<bool>(&value_); }
  const std::int64_t* asInteger() const { return std::get_if<std::int64_t>(&value_); }
  const double* asReal() const { return std::get_if<double>(&value_); }
  const std::string* asString() const { return std::get_if<std::string>(&value_); }
  const NSDate* asDate() const { return std::get_if<NSDate>(&value_); }
  const NSData* asData() const { return std::get_if<NSData>(&value_); }
  const NSArray* asArray() const;
  const NSDictionary* asDictionary() const;

  // A number is a boolean, an integer or a real.
  bool isNumber() const { return value_.index() <= 2; }
  // The number's integer value (a real is truncated and clamped); 0 for anything else.
  std::int64_t integerValue() const;
  // The number's double value; 0 for anything else.
  double doubleValue() const;

  friend bool operator==(const PropertyListValue& a, const PropertyListValue& b);

 private:
  std::variant<bool, std::int64_t, double, std::string, NSDate, NSData, std::shared_ptr<const NSArray>,
               std::shared_ptr<const NSDictionary>>
      value_;
};

// A dictionary with string keys, flat and in insertion order. Small by design: look-up is a linear scan.
class NSDictionary {
 public:
  using Entry = std::pair<DictionaryKey, PropertyListValue>;

  NSDictionary() = default;
  NSDictionary(std::initializer_list<std::pair<std::string_view, PropertyListValue>> entries);

  // The value under the key, or null. Valid until the dictionary changes.
  const PropertyListValue* find(std::string_view key) const;
  // Replaces the value of a key that is there already.
  void set(std::string_view key, PropertyListValue value);
  // Appends without looking for an earlier entry. REQUIRES: the key is not in the dictionary.
  void append(DictionaryKey key, PropertyListValue value) {
    entries_.emplace_back(std::move(key), std::move(value));
  }
  void reserve(std::size_t count) { entries_.reserve(count); }

  std::size_t size() const { return entries_.size(); }
  bool empty() const { return entries_.empty(); }
  std::vector<Entry>::const_iterator begin() const { return entries_.begin(); }
  std::vector<Entry>::const_iterator end() const { return entries_.end(); }

  // Equal when both hold the same keys with equal values, in any order.
  friend bool operator==(const NSDictionary& a, const NSDictionary& b);

 private:
  std::vector<Entry> entries_;
};

// The platform's style of description for log lines: a string as it is, a boolean as 1 or 0, a date as
// "2024-03-05 13:07:09 +0000", arrays and dictionaries over several indented lines with "key = value;".
std::string description(const PropertyListValue& value);
std::string description(const NSDictionary& dictionary);
// "(null)" for an absent value.
std::string description(const std::optional<std::string>& text);
std::string description(const std::optional<NSDate>& date);

}  // namespace zelto
