#include <utility>

#include <fmt/format.h>

#include "platform/foundation/NSString.h"
#include "support/StringUtils.h"
#include "support/ZeltoLocalise.h"

namespace zelto {

namespace {

using Step = std::string (*)(std::string);

std::string withBreakAfterFirstSentence(std::string text) {
  constexpr std::string_view kEnd = ". ";
  const auto end = text.find(kEnd);
  return end == std::string::npos
             ? std::move(text)
             : fmt::format("{}.\n{}", text.substr(0, end), text.substr(end + kEnd.size()));
}

std::string withFirstLetterUppercase(std::string text) {
  if (lengthOfText(text) < 2) return uppercaseString(text);
  const auto first = firstCharacterOfText(text);
  // A first byte that is not UTF-8 would be replaced by a longer one.
  return text.starts_with(first) ? uppercaseString(first) + text.substr(first.size()) : std::move(text);
}

constexpr std::pair<LocaliseOptions, Step> kSteps[] = {
    {LocaliseOptionEllipsis, [](std::string text) { return std::move(text) + "..."; }},
    {LocaliseOptionQuestionMark, [](std::string text) { return std::move(text) + "?"; }},
    {LocaliseOptionBreakAfterFirstSentence, withBreakAfterFirstSentence},
    {LocaliseOptionAreYouSure,
     [](std::string text) {
       return fmt::format("{}\n\n{}", text, ZeltoLocalise::instance().optionAreYouSure());
     }},
    {LocaliseOptionContactSysAdmin,
     [](std::string text) {
       return fmt::format("{}\n\n{}", text, ZeltoLocalise::instance().optionContactSysAdmin());
     }},
    {LocaliseOptionUppercase, [](std::string text) { return uppercaseString(text); }},
    {LocaliseOptionLowercase, [](std::string text) { return lowercaseString(text); }},
    {LocaliseOptionCapitalised, [](std::string text) { return u_captilisiedString(text); }},
    {LocaliseOptionFirstLetterUppercase, withFirstLetterUppercase},
};

}  // namespace

std::string ZeltoLocalise::applyOptionsToString(std::string string, LocaliseOptions options) {
  for (const auto& [option, step] : kSteps) {
    if (contains(options, option)) string = step(std::move(string));
  }
  return string;
}

}  // namespace zelto
