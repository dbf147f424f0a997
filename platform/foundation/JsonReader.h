#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/foundation/PropertyList.h"

namespace zelto {

// Builds property-list values from the JSON parser's events, without the parser's own tree in between,
// and stops at the first excess.
class JsonReader : public nlohmann::json_sax<nlohmann::json> {
 public:
  bool null() override { return true; }
  bool boolean(bool value) override { return add(value); }
  bool number_integer(number_integer_t value) override { return add(std::int64_t{value}); }
  bool number_unsigned(number_unsigned_t value) override;
  bool number_float(number_float_t value, const string_t&) override { return add(value); }
  bool string(string_t& value) override { return add(std::move(value)); }
  bool binary(binary_t&) override { return false; }
  bool start_object(std::size_t) override { return open(true); }
  bool key(string_t& name) override;
  bool end_object() override;
  bool start_array(std::size_t) override { return open(false); }
  bool end_array() override;
  bool parse_error(std::size_t, const std::string&, const nlohmann::json::exception& error) override;

  // Why reading stopped; "" when the parser gave no reason.
  const std::string& problem() const { return problem_; }
  // Nothing when the root was null.
  std::optional<PropertyListValue> takeRoot() { return std::move(root_); }

 private:
  // A container that is still open: an array, or an object with the key whose value comes next.
  struct Level {
    bool isObject;
    NSArray array;
    std::vector<NSDictionary::Entry> entries;
    DictionaryKey key;
  };

  bool open(bool isObject);
  bool add(PropertyListValue value);
  bool fail(std::string problem);

  std::vector<Level> levels_;
  std::optional<PropertyListValue> root_;
  std::size_t valueCount_ = 0;
  std::string problem_;
};

}  // namespace zelto
