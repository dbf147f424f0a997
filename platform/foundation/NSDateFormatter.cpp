#include "platform/foundation/NSDateFormatter.h"

#include <cstdint>
#include <mutex>

#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

namespace zelto {

struct NSDateFormatter::State {
  explicit State(const std::string& pattern)
      : format(icu::UnicodeString::fromUTF8(pattern), icu::Locale::getDefault(), status) {
    if (U_SUCCESS(status)) format.adoptTimeZone(icu::TimeZone::detectHostTimeZone());
  }

  // Initialised before the format that reports into it.
  UErrorCode status = U_ZERO_ERROR;
  // ICU's formats keep scratch state.
  std::mutex mutex;
  icu::SimpleDateFormat format;
};

NSDateFormatter::NSDateFormatter(const std::string& pattern) : state_(std::make_unique<State>(pattern)) {}

NSDateFormatter::~NSDateFormatter() = default;

std::string NSDateFormatter::stringFromDate(NSDate date) const {
  if (U_FAILURE(state_->status)) return {};
  // In whole milliseconds, since the double for .123 may lie just below it.
  const std::timespec time = date.timespec();
  const auto milliseconds =
      static_cast<double>(time.tv_sec) * 1000 + static_cast<double>(time.tv_nsec / 1'000'000);
  icu::UnicodeString text;
  {
    const std::scoped_lock lock(state_->mutex);
    state_->format.format(milliseconds, text);
  }
  std::string result;
  return text.toUTF8String(result);
}

}  // namespace zelto
