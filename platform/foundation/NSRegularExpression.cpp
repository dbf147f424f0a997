#include "platform/foundation/NSRegularExpression.h"

#include <cstdint>

#include <fmt/format.h>
#include <unicode/regex.h>

#include "platform/foundation/IcuText.h"

namespace zelto {
namespace {

constexpr std::int64_t kFormattingError = 2048;
// In ICU's steps of ten thousand decisions each. Some patterns need exponentially many.
constexpr std::int32_t kLongestMatch = 1000;

NSError patternError(std::string_view pattern) {
  return {NSCocoaErrorDomain,
          kFormattingError,
          {{NSLocalizedDescriptionKey, fmt::format("The value “{}” is invalid.", pattern)}}};
}

NSError matchError(UErrorCode status) {
  return {
      NSCocoaErrorDomain,
      kFormattingError,
      {{NSLocalizedDescriptionKey, fmt::format("The match has been given up ({}).", u_errorName(status))}}};
}

bool isDigit(char16_t unit) { return unit >= u'0' && unit <= u'9'; }

std::int32_t digitsFor(std::int32_t groupCount) {
  std::int32_t digits = 1;
  for (; groupCount > 9; groupCount /= 10) ++digits;
  return digits;
}

// Appends the group that the digits from `at` on name, and gives the index behind them.
std::int32_t appendGroup(icu::UnicodeString& result, const icu::UnicodeString& form, std::int32_t at,
                         const icu::RegexMatcher& match) {
  const auto end = std::min(at + digitsFor(match.groupCount()), form.length());
  std::int32_t group = 0;
  for (; at < end && isDigit(form[at]); ++at) group = group * 10 + (form[at] - u'0');
  UErrorCode status = U_ZERO_ERROR;
  if (group <= match.groupCount()) result += match.group(group, status);
  return at;
}

// ICU's own rules for templates differ: they refuse a "$" without a group and read more after a backslash.
void appendExpanded(icu::UnicodeString& result, const icu::UnicodeString& form,
                    const icu::RegexMatcher& match) {
  for (std::int32_t at = 0; at < form.length();) {
    const char16_t unit = form[at++];
    if (unit == u'$' && at < form.length() && isDigit(form[at])) {
      at = appendGroup(result, form, at, match);
    } else if (unit != u'\\') {
      result += unit;
    } else if (at < form.length()) {
      result += form[at++];
    }
  }
}

}  // namespace

struct NSRegularExpression::Pattern {
  std::unique_ptr<icu::RegexPattern> compiled;

  // REQUIRES: the text outlives the matcher.
  std::unique_ptr<icu::RegexMatcher> matcher(const icu::UnicodeString& text, UErrorCode& status) const {
    std::unique_ptr<icu::RegexMatcher> matcher(compiled->matcher(text, status));
    if (U_SUCCESS(status)) matcher->setTimeLimit(kLongestMatch, status);
    return matcher;
  }
};

std::expected<NSRegularExpression, NSError> NSRegularExpression::regularExpressionWithPattern(
    std::string_view pattern, Case letters) {
  UErrorCode status = U_ZERO_ERROR;
  UParseError where{};
  const std::uint32_t flags = letters == Case::Insensitive ? UREGEX_CASE_INSENSITIVE : 0;
  auto compiled = std::make_shared<Pattern>();
  compiled->compiled.reset(icu::RegexPattern::compile(unicodeOf(pattern), flags, where, status));
  if (U_FAILURE(status)) return std::unexpected(patternError(pattern));
  return NSRegularExpression(std::move(compiled));
}

bool NSRegularExpression::hasMatchInString(std::string_view text) const {
  UErrorCode status = U_ZERO_ERROR;
  const auto whole = unicodeOf(text);
  const auto matcher = pattern_->matcher(whole, status);
  return U_SUCCESS(status) && matcher->find(status) != 0 && U_SUCCESS(status);
}

std::expected<std::string, NSError> NSRegularExpression::stringByReplacingMatchesInString(
    std::string_view text, std::string_view withTemplate) const {
  UErrorCode status = U_ZERO_ERROR;
  const auto whole = unicodeOf(text);
  const auto form = unicodeOf(withTemplate);
  const auto matcher = pattern_->matcher(whole, status);
  icu::UnicodeString result;
  std::int32_t copied = 0;
  bool found = false;
  while (U_SUCCESS(status) && matcher->find(status) != 0) {
    result.append(whole, copied, matcher->start(status) - copied);
    appendExpanded(result, form, *matcher);
    copied = matcher->end(status);
    found = true;
  }
  if (U_FAILURE(status)) return std::unexpected(matchError(status));
  if (!found) return std::string(text);
  return utf8Of(result.append(whole, copied, whole.length() - copied));
}

}  // namespace zelto
