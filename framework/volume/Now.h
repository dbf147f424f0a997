#pragma once

#include <chrono>
#include <cstdint>

namespace zelto {

// The date of what is changed just now: nanoseconds since 1970.
inline std::int64_t nanosecondsNow() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

}  // namespace zelto
