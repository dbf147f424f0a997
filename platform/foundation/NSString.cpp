#include "platform/foundation/NSString.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/normlzr.h>
#include <unicode/ubrk.h>

#include "platform/foundation/IcuText.h"

namespace zelto {
namespace {

std::unique_ptr<icu::BreakIterator> charactersOf(const icu::UnicodeString& text) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::BreakIterator> breaks(
      icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
  if (U_FAILURE(status)) return nullptr;
  breaks->setText(text);
  return breaks;
}

std::int32_t clamped(std::size_t units, const icu::UnicodeString& text) {
  return static_cast<std::int32_t>(std::min(units, static_cast<std::size_t>(text.length())));
}

// The ends of characters next to an index, before and behind it.
std::int32_t boundaryUpTo(const icu::UnicodeString& text, std::int32_t index) {
  const auto start = text.getChar32Start(index);
  const auto breaks = charactersOf(text);
  return !breaks || breaks->isBoundary(start) != 0 ? start : std::max(breaks->preceding(start), 0);
}

std::int32_t boundaryFrom(const icu::UnicodeString& text, std::int32_t index) {
  const auto limit = text.getChar32Limit(index);
  const auto breaks = charactersOf(text);
  if (!breaks || breaks->isBoundary(limit) != 0) return limit;
  const auto next = breaks->following(limit);
  return next == icu::BreakIterator::DONE ? text.length() : next;
}

}  // namespace

std::size_t lengthOfText(std::string_view text) { return static_cast<std::size_t>(unicodeOf(text).length()); }

std::string textToIndex(std::string_view text, std::size_t units) {
  const auto whole = unicodeOf(text);
  return utf8Of(whole.tempSubStringBetween(0, boundaryUpTo(whole, clamped(units, whole))));
}

std::string textOfLastUnits(std::string_view text, std::size_t units) {
  const auto whole = unicodeOf(text);
  return utf8Of(whole.tempSubString(boundaryFrom(whole, whole.length() - clamped(units, whole))));
}

std::string firstCharacterOfText(std::string_view text) {
  const auto whole = unicodeOf(text);
  return whole.isEmpty() ? std::string() : utf8Of(whole.tempSubStringBetween(0, boundaryFrom(whole, 1)));
}

std::string uppercaseString(std::string_view text) {
  return utf8Of(unicodeOf(text).toUpper(icu::Locale::getRoot()));
}

std::string lowercaseString(std::string_view text) {
  return utf8Of(unicodeOf(text).toLower(icu::Locale::getRoot()));
}

std::string textWithCapitalisedWords(std::string_view text) {
  const auto whole = unicodeOf(text);
  const auto& locale = icu::Locale::getDefault();
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::BreakIterator> words(icu::BreakIterator::createWordInstance(locale, status));
  if (U_FAILURE(status)) return utf8Of(whole);
  words->setText(whole);
  icu::UnicodeString result;
  std::int32_t start = words->first();
  for (auto end = words->next(); end != icu::BreakIterator::DONE; start = end, end = words->next()) {
    auto part = whole.tempSubStringBetween(start, end);
    result += words->getRuleStatus() < UBRK_WORD_NONE_LIMIT ? part : part.toTitle(nullptr, locale);
  }
  return utf8Of(result);
}

std::string replacingInvalidCharacters(std::string_view text) { return utf8Of(unicodeOf(text)); }

bool isEqualIgnoringCase(std::string_view a, std::string_view b) {
  UErrorCode status = U_ZERO_ERROR;
  const auto order = icu::Normalizer::compare(unicodeOf(a), unicodeOf(b),
                                              U_FOLD_CASE_DEFAULT | U_COMPARE_IGNORE_CASE, status);
  return U_SUCCESS(status) && order == 0;
}

}  // namespace zelto
