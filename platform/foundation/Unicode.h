#pragma once

#include <string_view>

namespace zelto {

// Whether the text is well-formed UTF-8 (no surrogates, no overlong forms).
bool isValidUTF8(std::string_view text);

}  // namespace zelto
