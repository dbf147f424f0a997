#pragma once

#include <cstdint>

#include "platform/foundation/NSDate.h"

namespace zelto {

enum class NSCalendarUnit { Second, Minute, Hour, Day, Week, Month, Year };

// How many whole units lie between two dates, towards zero; negative where `to` is the earlier one. Days and
// what is longer are the calendar's in the process's time zone: from noon to noon is a day where it has 23
// hours, too. THREAD: any.
std::int64_t wholeUnitsBetween(NSCalendarUnit unit, NSDate from, NSDate to);

}  // namespace zelto
