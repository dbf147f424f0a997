#include "platform/foundation/NSDate.h"

#include <cmath>
#include <cstdint>
#include <limits>

namespace zelto {
namespace {

constexpr std::int64_t kReferenceSeconds = 978307200;
constexpr std::int64_t kMicrosecondsPerSecond = 1'000'000;

}  // namespace

NSDate NSDate::now() {
  std::timespec time{};
  ::clock_gettime(CLOCK_REALTIME, &time);
  return fromTimespec(time);
}

NSDate NSDate::fromTimespec(const std::timespec& time) {
  const double whole = time.tv_sec >= std::numeric_limits<std::time_t>::min() + kReferenceSeconds
                           ? static_cast<double>(time.tv_sec - kReferenceSeconds)
                           : static_cast<double>(time.tv_sec);
  return NSDate(whole + static_cast<double>(time.tv_nsec) * 1e-9);
}

std::timespec NSDate::timespec() const {
  using Limits = std::numeric_limits<std::time_t>;
  const double whole = std::floor(seconds_);
  // Past 2^62 seconds every double is a whole number far outside what a calendar can show.
  if (std::isnan(whole)) return {0, 0};
  if (whole >= 0x1p62) return {Limits::max(), 0};
  if (whole <= -0x1p62) return {Limits::min(), 0};
  std::time_t seconds = static_cast<std::time_t>(whole) + kReferenceSeconds;
  std::int64_t microseconds = std::llround((seconds_ - whole) * kMicrosecondsPerSecond);
  if (microseconds == kMicrosecondsPerSecond) {
    ++seconds;
    microseconds = 0;
  }
  return {seconds, static_cast<long>(microseconds * 1000)};
}

}  // namespace zelto
