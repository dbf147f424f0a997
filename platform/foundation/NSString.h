#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace zelto {

// Texts as the platform counts, cuts and changes them. Bytes that are not UTF-8 count as U+FFFD.
// THREAD: any.

// The length in UTF-16 units.
std::size_t lengthOfText(std::string_view text);
// The first, or last, so many UTF-16 units. A user's character (a letter with its accents, a joined emoji)
// of which only a part would be left is left out.
std::string textToIndex(std::string_view text, std::size_t units);
std::string textOfLastUnits(std::string_view text, std::size_t units);
// The first of the user's characters; "" of an empty text.
std::string firstCharacterOfText(std::string_view text);

// The same in every locale.
std::string uppercaseString(std::string_view text);
std::string lowercaseString(std::string_view text);
// Each word with a capital first and small letters behind, the text between words as it is. What a word is
// and which letters are a letter's capital is the process's locale's.
std::string textWithCapitalisedWords(std::string_view text);

// The text with U+FFFD for the bytes that are not UTF-8.
std::string replacingInvalidCharacters(std::string_view text);

// Whether both are the same but for the case of letters and for how accents are encoded.
bool isEqualIgnoringCase(std::string_view a, std::string_view b);

}  // namespace zelto
