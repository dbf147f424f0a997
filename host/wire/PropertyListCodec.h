#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/wire/FileProvider.capnp.h"
#include "platform/foundation/PropertyList.h"

namespace zelto::wire {

// About how many bytes the dictionary takes on the wire, from above.
// ERRORS: WireError for one that may not travel: nested too deeply, a text too long.
std::size_t encodedSize(const NSDictionary& dictionary);

// The key names of one message, numbered as they are met.
class KeyTable {
 public:
  // `position` is the entry's place in its dictionary: the items of a listing have their keys in the same
  // order, so the name that stood there last is tried first.
  std::uint32_t indexOf(const DictionaryKey& key, std::size_t position);
  std::size_t size() const { return keys_.size(); }
  void write(capnp::List<capnp::Text>::Builder out) const;

 private:
  std::uint32_t slowIndexOf(const DictionaryKey& key);

  std::vector<DictionaryKey> keys_;
  std::vector<std::uint32_t> lastAt_;
  std::unordered_map<std::string_view, std::uint32_t> indices_;  // of names that keys_ holds
};

void writeDictionary(const NSDictionary& dictionary, KeyTable& keys, Dictionary::Builder out);
void writeProperties(const NSDictionary& dictionary, Properties::Builder out);

// ERRORS of all readers: WireError, kj::Exception.
std::vector<DictionaryKey> readKeys(capnp::List<capnp::Text>::Reader names);
NSDictionary readDictionary(Dictionary::Reader in, const std::vector<DictionaryKey>& keys, int depth = 1);
NSDictionary readProperties(Properties::Reader in);

}  // namespace zelto::wire
