#pragma once

#include <string>
#include <string_view>

#include <unicode/unistr.h>

namespace zelto {

// Bytes that are not UTF-8 become U+FFFD. Texts are cut at half a gigabyte, which ICU could not count.
icu::UnicodeString unicodeOf(std::string_view text);
std::string utf8Of(const icu::UnicodeString& text);

}  // namespace zelto
