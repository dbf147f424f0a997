#pragma once

#include <array>
#include <memory>
#include <string_view>
#include <vector>

namespace zelto {

// Keeps many short strings without a heap block each: blocks of 64 KiB, cut in steps of eight bytes, with
// a free list for each length of step.
// THREAD: one writer or many readers.
class NameArena {
 public:
  // REQUIRES: at most 255 bytes.
  const char* store(std::string_view name);
  void release(std::string_view stored);

 private:
  static constexpr std::size_t kBlock = 65536;
  static std::size_t steps(std::size_t length) { return (length + 7) / 8; }
  char* take(std::size_t bytes);

  std::vector<std::unique_ptr<char[]>> blocks_;
  std::size_t used_ = kBlock;
  std::array<char*, 33> free_{};
};

}  // namespace zelto
