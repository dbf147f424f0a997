#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zelto {

// Base64 by RFC 4648. THREAD: any.

// The standard alphabet with padding, on one line.
std::string base64Encoded(std::string_view bytes);
// Takes the standard and the URL-safe alphabet, each with or without padding. ERRORS: nothing for any other
// character (blanks and line breaks too), wrong padding and a length that no encoding has.
std::optional<std::string> base64Decoded(std::string_view text);

}  // namespace zelto
