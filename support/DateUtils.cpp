#include "support/DateUtils.h"

#include "platform/foundation/NSCalendar.h"
#include "platform/foundation/NSDateFormatter.h"
#include "platform/foundation/NSRelativeDateTimeFormatter.h"
#include "support/ZeltoLocalise.h"

namespace zelto {

namespace {

using Format = std::string (*)(NSDate);

std::optional<std::string> formatted(Format format, const std::optional<NSDate>& date) {
  return date ? std::optional(format(*date)) : std::nullopt;
}

std::string stringInMediumStyle(NSDate date) {
  static const auto* const formatter = new NSDateFormatter();
  return formatter->stringFromDate(date);
}

}  // namespace

bool u_earlierThanDate(NSDate receiver, NSDate date) { return receiver < date; }

bool u_LaterThanDate(NSDate receiver, NSDate date) { return receiver > date; }

// The formatters are costly to build, and a late log line may still need one while the process ends.

std::string stringForLogDate(NSDate date) {
  static const auto* const formatter = new NSDateFormatter("yyyy-MM-dd HH:mm:ss:SSSZZZ");
  return formatter->stringFromDate(date);
}

std::string timestampForDate(NSDate date) {
  static const auto* const formatter = new NSDateFormatter("yyyyMMddHHmmssSSS");
  return formatter->stringFromDate(date);
}

std::string timestampAcurateToSecondsForDate(NSDate date) {
  static const auto* const formatter = new NSDateFormatter("yyyyMMddHHmmss");
  return formatter->stringFromDate(date);
}

std::string formattedDateTime(NSDate date) {
  static const auto* const formatter = new NSDateFormatter("dd MMM yyyy HH:mm:ss");
  return formatter->stringFromDate(date);
}

std::optional<std::string> stringForLogDate(const std::optional<NSDate>& date) {
  return formatted(stringForLogDate, date);
}

std::optional<std::string> timestampForDate(const std::optional<NSDate>& date) {
  return formatted(timestampForDate, date);
}

std::optional<std::string> timestampAcurateToSecondsForDate(const std::optional<NSDate>& date) {
  return formatted(timestampAcurateToSecondsForDate, date);
}

std::optional<std::string> formattedDateTime(const std::optional<NSDate>& date) {
  return formatted(formattedDateTime, date);
}

std::int64_t daysFrom(NSDate receiver, NSDate date) {
  return wholeUnitsBetween(NSCalendarUnit::Day, date, receiver);
}

std::string timeAgoSinceDate(NSDate date) { return localizedStringForDate(date, NSDate::now()); }

std::string timeAgoSinceDate(const std::optional<NSDate>& date,
                             std::int64_t switchToDateWhenGreaterThanDays) {
  if (!date) return ZeltoLocalise::localise("UNKNOWN");
  const bool longAgo = daysFrom(NSDate::now(), *date) > switchToDateWhenGreaterThanDays;
  return longAgo ? stringInMediumStyle(*date) : timeAgoSinceDate(*date);
}

}  // namespace zelto
