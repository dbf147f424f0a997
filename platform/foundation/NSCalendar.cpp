#include "platform/foundation/NSCalendar.h"

#include <memory>

#include <unicode/gregocal.h>
#include <unicode/timezone.h>

#include "platform/foundation/IcuDate.h"

namespace zelto {
namespace {

constexpr double kMillisecondsPerSecond = 1000;

double secondsIn(NSCalendarUnit unit) {
  switch (unit) {
    case NSCalendarUnit::Second:
      return 1;
    case NSCalendarUnit::Minute:
      return 60;
    case NSCalendarUnit::Hour:
      return 3600;
    case NSCalendarUnit::Day:
      return 86400;
    case NSCalendarUnit::Week:
      return 7 * 86400.0;
    case NSCalendarUnit::Month:
      return 2629746;
    case NSCalendarUnit::Year:
      return 31556952;
  }
  return 1;
}

UCalendarDateFields fieldOf(NSCalendarUnit unit) {
  if (unit == NSCalendarUnit::Year) return UCAL_YEAR;
  if (unit == NSCalendarUnit::Month) return UCAL_MONTH;
  return unit == NSCalendarUnit::Week ? UCAL_WEEK_OF_YEAR : UCAL_DAY_OF_MONTH;
}

}  // namespace

std::int64_t wholeUnitsBetween(NSCalendarUnit unit, NSDate from, NSDate to) {
  const double start = millisecondsSince1970(from);
  const double end = millisecondsSince1970(to);
  const auto byLength = static_cast<std::int64_t>((end - start) / (secondsIn(unit) * kMillisecondsPerSecond));
  if (unit < NSCalendarUnit::Day) return byLength;
  UErrorCode status = U_ZERO_ERROR;
  icu::GregorianCalendar calendar(icu::TimeZone::detectHostTimeZone(), status);
  calendar.setTime(start, status);
  const auto count = calendar.fieldDifference(end, fieldOf(unit), status);
  // Dates millions of years apart are beyond the calendar.
  return U_SUCCESS(status) ? count : byLength;
}

}  // namespace zelto
