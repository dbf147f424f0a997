#pragma once

#include <cstdint>
#include <expected>

#include "hostapp/ServerBackend.h"
#include "platform/fileprovider/NSFileProviderTypes.h"
#include "platform/foundation/NSData.h"

namespace zelto {

// The most that one reply carries.
inline constexpr std::uint64_t kLongestRange = 64ULL << 20;

// What is delivered for a request: widened to multiples of the alignment (0, 1, a negative one, or one
// above the longest range: none), cut at the end of the file and at the longest range. An empty request,
// or one past the end, is an empty range that lies in the file.
NSRange deliveredRange(NSRange requested, std::int64_t alignment, std::uint64_t size);

struct RangeContent {
  NSData data;
  NSRange range;
  BackendEntry entry;  // of the version that the data is from
};

// Reads a stretch of one version of the file.
// BLOCKS: on the server. ERRORS: the server's; a file that keeps changing.
std::expected<RangeContent, NSError> readRange(ServerBackend& backend, const std::string& path,
                                               NSRange requested, std::int64_t alignment);

}  // namespace zelto
