#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/fileprovider/NSFileProviderTypes.h"

namespace zelto {

// A set of byte ranges, kept merged.
class RangeSet {
 public:
  void add(NSRange range);
  bool covers(NSRange range) const;
  // The parts of the range that are not in the set, in order.
  std::vector<NSRange> missing(NSRange range) const;
  std::uint64_t totalLength() const;
  std::vector<NSRange> ranges() const;
  bool empty() const { return ends_.empty(); }

  // A compact form for the database; nothing when the bytes are not one of ours.
  std::string encoded() const;
  static RangeSet decoded(std::string_view bytes);

 private:
  std::map<std::uint64_t, std::uint64_t> ends_;  // location to end
};

}  // namespace zelto
