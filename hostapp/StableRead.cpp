#include "hostapp/StableRead.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "hostapp/BackendErrors.h"

namespace zelto {

namespace {

constexpr std::int64_t kClockStepNanoseconds = 12'000'000;

bool sameTime(const std::timespec& a, const std::timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

}  // namespace

bool isSameVersion(const EntryStat& before, const EntryStat& after) {
  return before.inode == after.inode && before.size == after.size &&
         sameTime(before.modified, after.modified) && sameTime(before.changed, after.changed);
}

void waitUntilTimesTell(const EntryStat& stat) {
  std::timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  const auto seconds = std::clamp<std::int64_t>(now.tv_sec - stat.changed.tv_sec, -10, 10);
  const auto age = seconds * 1'000'000'000 + (now.tv_nsec - stat.changed.tv_nsec);
  if (age < 0 || age >= kClockStepNanoseconds) return;
  std::this_thread::sleep_for(std::chrono::nanoseconds(kClockStepNanoseconds - age));
}

NSError keepsChangingError(std::string_view path) {
  return cocoaError(kReadUnknownError,
                    "\"" + std::string(path) + "\": the file keeps changing on the server while it is read");
}

}  // namespace zelto
