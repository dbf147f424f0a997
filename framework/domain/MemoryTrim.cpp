#include "framework/domain/MemoryTrim.h"

#include <malloc.h>

namespace zelto {

void MemoryTrim::configureAllocator() {
  mallopt(M_ARENA_MAX, 4);
  mallopt(M_TRIM_THRESHOLD, 512 << 20);
  mallopt(M_TOP_PAD, 1 << 20);
  mallopt(M_MMAP_THRESHOLD, 4 << 20);
}

void MemoryTrim::itemsHandled(std::size_t count) {
  {
    const std::lock_guard lock(mutex_);
    const bool scheduled = handled_ >= kWorthIt;
    handled_ += count;
    if (scheduled || handled_ < kWorthIt) return;
  }
  deadlines_.schedule(Deadlines::Clock::now() + std::chrono::seconds(1), [this] {
    {
      const std::lock_guard lock(mutex_);
      handled_ = 0;
    }
    malloc_trim(0);
  });
}

}  // namespace zelto
