#include "platform/foundation/NSRelativeDateTimeFormatter.h"

#include <utility>

#include <unicode/reldatefmt.h>

#include "platform/foundation/IcuText.h"
#include "platform/foundation/NSCalendar.h"

namespace zelto {
namespace {

struct Span {
  URelativeDateTimeUnit unit = UDAT_REL_UNIT_SECOND;
  std::int64_t count = 0;
};

Span longestSpan(NSDate from, NSDate to) {
  constexpr std::pair<NSCalendarUnit, URelativeDateTimeUnit> kUnits[] = {
      {NSCalendarUnit::Year, UDAT_REL_UNIT_YEAR},    {NSCalendarUnit::Month, UDAT_REL_UNIT_MONTH},
      {NSCalendarUnit::Week, UDAT_REL_UNIT_WEEK},    {NSCalendarUnit::Day, UDAT_REL_UNIT_DAY},
      {NSCalendarUnit::Hour, UDAT_REL_UNIT_HOUR},    {NSCalendarUnit::Minute, UDAT_REL_UNIT_MINUTE},
      {NSCalendarUnit::Second, UDAT_REL_UNIT_SECOND}};
  for (const auto& [calendarUnit, unit] : kUnits) {
    if (const auto count = wholeUnitsBetween(calendarUnit, from, to); count != 0) return {unit, count};
  }
  return {};
}

}  // namespace

std::string localizedStringForDate(NSDate date, NSDate relativeTo) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::RelativeDateTimeFormatter formatter(status);
  icu::UnicodeString text;
  if (U_FAILURE(status)) return {};
  const auto span = longestSpan(date, relativeTo);
  if (span.count == 0) {
    formatter.format(UDAT_DIRECTION_PLAIN, UDAT_ABSOLUTE_NOW, text, status);
  } else {
    formatter.formatNumeric(-static_cast<double>(span.count), span.unit, text, status);
  }
  return U_SUCCESS(status) ? utf8Of(text) : std::string();
}

}  // namespace zelto
