#pragma once

#include <memory>
#include <string>

#include "platform/foundation/NSDate.h"

namespace zelto {

// Formats dates by a Unicode date-field pattern, or in one of the styles that the user's language has for
// them, in the process's default locale and time zone, both taken when the formatter is made. A date is shown
// with its fraction of a second cut to milliseconds. THREAD: any; a formatter may be shared.
class NSDateFormatter {
 public:
  explicit NSDateFormatter(const std::string& pattern);
  // Date and time in the medium style.
  NSDateFormatter();
  ~NSDateFormatter();
  NSDateFormatter(const NSDateFormatter&) = delete;
  NSDateFormatter& operator=(const NSDateFormatter&) = delete;

  std::string stringFromDate(NSDate date) const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace zelto
