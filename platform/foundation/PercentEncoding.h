#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/NSCharacterSet.h"

namespace zelto {

// Every character outside the set, and every one outside ASCII, as "%" and two capital hexadecimal digits for
// each of its bytes. ERRORS: nothing for a text that is not UTF-8. THREAD: any.
std::optional<std::string> stringByAddingPercentEncoding(std::string_view text,
                                                         const NSCharacterSet& allowed);
// The reverse. ERRORS: nothing for a "%" without two digits, and where the bytes are not UTF-8.
std::optional<std::string> stringByRemovingPercentEncoding(std::string_view text);

}  // namespace zelto
