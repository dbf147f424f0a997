#pragma once

#include "platform/foundation/NSDate.h"

namespace zelto {

// As ICU counts. In whole milliseconds, since the double for .123 may lie just below it.
inline double millisecondsSince1970(NSDate date) {
  const std::timespec time = date.timespec();
  return static_cast<double>(time.tv_sec) * 1000 + static_cast<double>(time.tv_nsec / 1'000'000);
}

}  // namespace zelto
