#pragma once

#include <string>

#include "platform/foundation/NSDate.h"

namespace zelto {

// How long ago a date was, seen from another one, in the process's language: "2 hours ago", "in 3 days",
// "now". The number is that of the largest unit of which there is a whole one. THREAD: any.
std::string localizedStringForDate(NSDate date, NSDate relativeTo);

}  // namespace zelto
