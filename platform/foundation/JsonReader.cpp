#include "platform/foundation/JsonReader.h"

#include <utility>

#include "platform/foundation/DictionaryEntries.h"

namespace zelto {
namespace {

constexpr std::size_t kMaximumTextDepth = 512;
// One value takes about a hundred bytes of memory but as little as two of text.
constexpr std::size_t kMaximumValues = 4'000'000;

}  // namespace

bool JsonReader::number_unsigned(number_unsigned_t value) {
  return std::in_range<std::int64_t>(value) ? add(static_cast<std::int64_t>(value))
                                            : add(static_cast<double>(value));
}

bool JsonReader::key(string_t& name) {
  levels_.back().key = DictionaryKey(name);
  return true;
}

bool JsonReader::end_object() {
  NSDictionary dictionary = dictionaryOfEntries(std::move(levels_.back().entries));
  levels_.pop_back();
  return add(std::move(dictionary));
}

bool JsonReader::end_array() {
  NSArray array = std::move(levels_.back().array);
  levels_.pop_back();
  return add(std::move(array));
}

bool JsonReader::parse_error(std::size_t, const std::string&, const nlohmann::json::exception& error) {
  return fail(error.what());
}

bool JsonReader::open(bool isObject) {
  if (levels_.size() == kMaximumTextDepth) return fail("nested too deeply");
  levels_.push_back({isObject, {}, {}, DictionaryKey("")});
  return true;
}

bool JsonReader::add(PropertyListValue value) {
  if (++valueCount_ > kMaximumValues) return fail("too many values");
  if (levels_.empty()) {
    root_ = std::move(value);
  } else if (levels_.back().isObject) {
    levels_.back().entries.emplace_back(std::move(levels_.back().key), std::move(value));
  } else {
    levels_.back().array.push_back(std::move(value));
  }
  return true;
}

bool JsonReader::fail(std::string problem) {
  if (problem_.empty()) problem_ = std::move(problem);
  return false;
}

}  // namespace zelto
