#include "support/DateUtils.h"

#include "platform/foundation/NSDateFormatter.h"

namespace zelto {

// The formatters are costly to build, and a late log line may still need one while the process ends.

std::string stringForLogDate(NSDate date) {
  static const auto* const formatter = new NSDateFormatter("yyyy-MM-dd HH:mm:ss:SSSZZZ");
  return formatter->stringFromDate(date);
}

std::string formattedDateTime(NSDate date) {
  static const auto* const formatter = new NSDateFormatter("dd MMM yyyy HH:mm:ss");
  return formatter->stringFromDate(date);
}

}  // namespace zelto
