#include "host/wire/PropertyListCodec.h"

#include <algorithm>

#include <fmt/format.h>

#include "host/wire/MessageCodec.h"

namespace zelto::wire {

namespace {

constexpr std::size_t kValueSize = 24;  // a Value's words

void checkDepth(int depth) {
  if (depth > kMaximumDepth) throw WireError(fmt::format("a value nested over {} deep", kMaximumDepth));
}

std::size_t textSize(std::string_view text) {
  if (text.size() > kMaximumText) throw WireError(fmt::format("a text of {} bytes", text.size()));
  return text.size() + 8;
}

std::size_t sizeOf(const NSDictionary& dictionary, int depth);

std::size_t sizeOf(const PropertyListValue& value, int depth) {
  std::size_t size = kValueSize;
  if (auto* text = value.asString()) return size + textSize(*text);
  if (auto* data = value.asData()) return size + data->size() + 8;
  if (auto* dictionary = value.asDictionary()) return size + sizeOf(*dictionary, depth + 1);
  if (auto* array = value.asArray()) {
    checkDepth(depth + 1);
    size += 8;
    for (const auto& element : *array) size += sizeOf(element, depth + 1);
  }
  return size;
}

std::size_t sizeOf(const NSDictionary& dictionary, int depth) {
  checkDepth(depth);
  std::size_t size = 16;
  for (const auto& [key, value] : dictionary) size += textSize(key.name()) + sizeOf(value, depth);
  return size;
}

void writeValue(const PropertyListValue& value, KeyTable& keys, Value::Builder out) {
  if (auto* boolean = value.asBoolean()) return out.setBoolean(*boolean);
  if (auto* integer = value.asInteger()) return out.setInteger(*integer);
  if (auto* real = value.asReal()) return out.setReal(*real);
  if (auto* text = value.asString()) return out.setString(checkedText(*text));
  if (auto* date = value.asDate()) return out.setDate(date->timeIntervalSinceReferenceDate());
  if (auto* data = value.asData()) {
    auto bytes = out.initData(static_cast<unsigned>(data->size()));
    std::ranges::copy(std::as_bytes(data->bytes()), reinterpret_cast<std::byte*>(bytes.begin()));
    return;
  }
  if (auto* dictionary = value.asDictionary())
    return writeDictionary(*dictionary, keys, out.initDictionary());
  const NSArray& array = *value.asArray();
  auto elements = out.initArray(static_cast<unsigned>(array.size()));
  for (unsigned i = 0; i < elements.size(); ++i) writeValue(array[i], keys, elements[i]);
}

PropertyListValue readValue(Value::Reader in, const std::vector<DictionaryKey>& keys, int depth) {
  switch (in.which()) {
    case Value::BOOLEAN:
      return in.getBoolean();
    case Value::INTEGER:
      return std::int64_t{in.getInteger()};
    case Value::REAL:
      return in.getReal();
    case Value::STRING:
      return checkedText(in.getString());
    case Value::DATE:
      return NSDate::sinceReferenceDate(in.getDate());
    case Value::DATA: {
      auto data = in.getData();
      return NSData::copyOf(std::as_bytes(std::span(data.begin(), data.size())));
    }
    case Value::ARRAY: {
      checkDepth(depth + 1);
      auto elements = in.getArray();
      NSArray array;
      array.reserve(elements.size());
      for (auto element : elements) array.push_back(readValue(element, keys, depth + 1));
      return array;
    }
    case Value::DICTIONARY:
      return readDictionary(in.getDictionary(), keys, depth + 1);
  }
  throw WireError("a value of an unknown type");
}

void checkDistinct(std::vector<std::string_view> names) {
  std::ranges::sort(names);
  if (std::ranges::adjacent_find(names) != names.end()) throw WireError("a key name that comes twice");
}

// The dictionary's entries come without duplicates, as its own append requires.
void checkDistinctKeys(capnp::List<Value>::Reader entries) {
  std::vector<std::uint32_t> indices;
  indices.reserve(entries.size());
  for (auto entry : entries) indices.push_back(entry.getKey());
  std::ranges::sort(indices);
  if (std::ranges::adjacent_find(indices) != indices.end()) throw WireError("a dictionary with a key twice");
}

}  // namespace

std::size_t encodedSize(const NSDictionary& dictionary) { return sizeOf(dictionary, 1); }

std::uint32_t KeyTable::indexOf(const DictionaryKey& key, std::size_t position) {
  if (position < lastAt_.size() && keys_[lastAt_[position]] == key) return lastAt_[position];
  std::uint32_t index = slowIndexOf(key);
  if (position < lastAt_.size()) lastAt_[position] = index;
  if (position == lastAt_.size()) lastAt_.push_back(index);
  return index;
}

std::uint32_t KeyTable::slowIndexOf(const DictionaryKey& key) {
  auto found = indices_.find(key.name());
  if (found != indices_.end()) return found->second;
  auto index = static_cast<std::uint32_t>(keys_.size());
  keys_.push_back(key);
  // The name stays where it is: a key's record does not move with the key.
  indices_.emplace(keys_.back().name(), index);
  return index;
}

void KeyTable::write(capnp::List<capnp::Text>::Builder out) const {
  for (unsigned i = 0; i < out.size(); ++i) {
    std::string_view name = keys_[i].name();
    std::ranges::copy(name, out.init(i, static_cast<unsigned>(name.size())).begin());
  }
}

void writeDictionary(const NSDictionary& dictionary, KeyTable& keys, Dictionary::Builder out) {
  auto entries = out.initEntries(static_cast<unsigned>(dictionary.size()));
  unsigned position = 0;
  for (const auto& [key, value] : dictionary) {
    auto entry = entries[position];
    entry.setKey(keys.indexOf(key, position));
    writeValue(value, keys, entry);
    ++position;
  }
}

void writeProperties(const NSDictionary& dictionary, Properties::Builder out) {
  KeyTable keys;
  writeDictionary(dictionary, keys, out.initDictionary());
  keys.write(out.initKeys(static_cast<unsigned>(keys.size())));
}

std::vector<DictionaryKey> readKeys(capnp::List<capnp::Text>::Reader names) {
  std::vector<DictionaryKey> keys;
  std::vector<std::string_view> seen;
  keys.reserve(names.size());
  seen.reserve(names.size());
  for (auto name : names) {
    seen.emplace_back(name.begin(), name.size());
    keys.emplace_back(checkedText(name));
  }
  checkDistinct(std::move(seen));
  return keys;
}

NSDictionary readDictionary(Dictionary::Reader in, const std::vector<DictionaryKey>& keys, int depth) {
  checkDepth(depth);
  auto entries = in.getEntries();
  checkDistinctKeys(entries);
  NSDictionary dictionary;
  dictionary.reserve(entries.size());
  for (auto entry : entries) {
    if (entry.getKey() >= keys.size()) throw WireError("an entry whose key has no name");
    dictionary.append(keys[entry.getKey()], readValue(entry, keys, depth));
  }
  return dictionary;
}

NSDictionary readProperties(Properties::Reader in) {
  return readDictionary(in.getDictionary(), readKeys(in.getKeys()), 1);
}

}  // namespace zelto::wire
