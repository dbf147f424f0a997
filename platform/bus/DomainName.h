#pragma once

#include <algorithm>
#include <string_view>

namespace zelto {

inline constexpr const char* kDomainNameRule =
    "A domain's name is made of letters, digits and \"_\", at most 64, and does not start with a digit.";

// A domain is an element of bus names, and names folders and files.
inline bool isDomainName(std::string_view name) {
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  return !name.empty() && name.size() <= 64 && !isDigit(name.front()) &&
         std::ranges::all_of(name, [isDigit](char c) {
           return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || isDigit(c) || c == '_';
         });
}

}  // namespace zelto
