#pragma once

#include <string>

#include "platform/foundation/NSDate.h"

namespace zelto {

// The time stamp of a log line, in the process's time zone: 2024-03-05 14:07:09:123+0100.
// THREAD: any.
std::string stringForLogDate(NSDate date);

// The time as events carry it: 05 Mar 2024 14:07:09.
// THREAD: any.
std::string formattedDateTime(NSDate date);

}  // namespace zelto
