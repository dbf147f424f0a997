#include "platform/foundation/NSDateFormatter.h"

#include <mutex>
#include <utility>

#include <unicode/datefmt.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include "platform/foundation/IcuDate.h"

namespace zelto {

struct NSDateFormatter::State {
  explicit State(std::unique_ptr<icu::DateFormat> made) : format(std::move(made)) {
    if (format) format->adoptTimeZone(icu::TimeZone::detectHostTimeZone());
  }

  // ICU's formats keep scratch state.
  std::mutex mutex;
  // Null for a bad pattern.
  std::unique_ptr<icu::DateFormat> format;
};

namespace {

std::unique_ptr<icu::DateFormat> formatWithPattern(const std::string& pattern) {
  UErrorCode status = U_ZERO_ERROR;
  auto format = std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString::fromUTF8(pattern),
                                                        icu::Locale::getDefault(), status);
  return U_SUCCESS(status) ? std::move(format) : nullptr;
}

}  // namespace

NSDateFormatter::NSDateFormatter(const std::string& pattern)
    : state_(std::make_unique<State>(formatWithPattern(pattern))) {}

NSDateFormatter::NSDateFormatter()
    : state_(std::make_unique<State>(std::unique_ptr<icu::DateFormat>(icu::DateFormat::createDateTimeInstance(
          icu::DateFormat::kMedium, icu::DateFormat::kMedium, icu::Locale::getDefault())))) {}

NSDateFormatter::~NSDateFormatter() = default;

std::string NSDateFormatter::stringFromDate(NSDate date) const {
  if (!state_->format) return {};
  const double milliseconds = millisecondsSince1970(date);
  icu::UnicodeString text;
  {
    const std::scoped_lock lock(state_->mutex);
    state_->format->format(milliseconds, text);
  }
  std::string result;
  return text.toUTF8String(result);
}

}  // namespace zelto
