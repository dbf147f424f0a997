#pragma once

#include <compare>
#include <ctime>

namespace zelto {

// A point in time: a double count of seconds from 2001-01-01 00:00 UTC, as the platform keeps it, so
// that archives and messages carry it without rounding.
class NSDate {
 public:
  static constexpr double kReferenceSince1970 = 978307200.0;

  NSDate() = default;
  static NSDate now();
  static constexpr NSDate sinceReferenceDate(double seconds) { return NSDate(seconds); }
  static constexpr NSDate since1970(double seconds) { return NSDate(seconds - kReferenceSince1970); }
  // Exact to the precision of the double (about 0.1 microseconds in this century).
  static NSDate fromTimespec(const std::timespec& time);

  constexpr double timeIntervalSinceReferenceDate() const { return seconds_; }
  constexpr double timeIntervalSince1970() const { return seconds_ + kReferenceSince1970; }
  // Rounded to the nearest microsecond; a date outside time_t's range is clamped.
  std::timespec timespec() const;

  friend constexpr auto operator<=>(const NSDate&, const NSDate&) = default;

 private:
  explicit constexpr NSDate(double seconds) : seconds_(seconds) {}

  double seconds_ = 0;
};

}  // namespace zelto
