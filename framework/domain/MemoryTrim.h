#pragma once

#include <cstddef>
#include <mutex>

#include "framework/requests/Deadlines.h"

namespace zelto {

// Gives the memory that a large listing needed for a moment back to the system.
// THREAD: any.
class MemoryTrim {
 public:
  // Keeps the allocator from trimming by itself while listings are decoded, which makes them slow.
  // REQUIRES: called before any other thread is started.
  static void configureAllocator();

  explicit MemoryTrim(Deadlines& deadlines) : deadlines_(deadlines) {}

  // Something that took memory for so many items is done; trims soon where it is worth it.
  void itemsHandled(std::size_t count);

 private:
  static constexpr std::size_t kWorthIt = 2000;

  Deadlines& deadlines_;
  std::mutex mutex_;
  std::size_t handled_ = 0;
};

}  // namespace zelto
