#pragma once

#include <cstdint>

namespace zelto {

// What is done to a localised text, as bits. The steps run in the order of this list, whatever the bits'
// values are: so both kinds of letters together give small ones, and appended questions change with the text.
enum class LocaliseOptions : std::uint32_t {};

inline constexpr LocaliseOptions LocaliseOptionEllipsis{4};
inline constexpr LocaliseOptions LocaliseOptionQuestionMark{8};
inline constexpr LocaliseOptions LocaliseOptionBreakAfterFirstSentence{16};
inline constexpr LocaliseOptions LocaliseOptionAreYouSure{1};
inline constexpr LocaliseOptions LocaliseOptionContactSysAdmin{2};
inline constexpr LocaliseOptions LocaliseOptionUppercase{32};
inline constexpr LocaliseOptions LocaliseOptionLowercase{256};
// In the current locale; the others that change letters are the same in every one.
inline constexpr LocaliseOptions LocaliseOptionCapitalised{64};
inline constexpr LocaliseOptions LocaliseOptionFirstLetterUppercase{128};

constexpr LocaliseOptions operator|(LocaliseOptions a, LocaliseOptions b) {
  return LocaliseOptions{static_cast<std::uint32_t>(a) | static_cast<std::uint32_t>(b)};
}
constexpr bool contains(LocaliseOptions options, LocaliseOptions option) {
  return (static_cast<std::uint32_t>(options) & static_cast<std::uint32_t>(option)) != 0;
}

}  // namespace zelto
