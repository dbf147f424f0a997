#pragma once

#include <algorithm>
#include <cstdint>

#include "platform/fileprovider/NSFileProviderTypes.h"

namespace zelto {

// How far to read ahead of one open file: as far as has been read in sequence so far, up to a limit, so
// that one look into the middle fetches little and a long read soon asks for large ranges.
// THREAD: guarded by its owner's lock.
class ReadAhead {
 public:
  static constexpr std::uint64_t kLongest = 16 << 20;

  // Notes a read and gives the bytes worth having behind it.
  std::uint64_t next(NSRange read) {
    // The kernel sends several reads at once, so they arrive slightly out of order.
    const bool inSequence = read.location <= end_ + kTolerance && read.location + kTolerance >= end_;
    sequence_ = inSequence ? sequence_ + read.length : read.length;
    end_ = inSequence ? std::max(end_, read.end()) : read.end();
    return std::min(sequence_, kLongest);
  }

 private:
  static constexpr std::uint64_t kTolerance = 1 << 20;

  std::uint64_t end_ = 0;
  std::uint64_t sequence_ = 0;
};

}  // namespace zelto
