#pragma once

#include <cstdint>
#include <expected>

namespace zelto {

// What is copied at once: in between, whoever cancels it is heard and progress is told.
inline constexpr std::uint64_t kCopyPiece = 8ULL << 20;

// Copies a stretch from one open file to the same offset of another, inside the kernel where it can (sharing
// the blocks where the file system can). Fewer bytes than asked only at the end of the file.
// ERRORS: errno values. BLOCKS: on the disk.
std::expected<std::uint64_t, int> copyStretch(int from, int to, std::uint64_t offset, std::uint64_t length);

}  // namespace zelto
