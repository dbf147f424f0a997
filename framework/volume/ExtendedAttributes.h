#pragma once

#include <string>
#include <string_view>

namespace zelto {

// Tells how a file stands to the server; made when it is asked for.
inline constexpr std::string_view kStateAttribute = "user.zelto.state";

// Only the user's name space exists.
inline bool isUserAttribute(std::string_view name) { return name.starts_with("user."); }

// The server's attribute names stand in this system's user name space.
inline std::string localAttributeName(std::string_view name) {
  return isUserAttribute(name) ? std::string(name) : "user." + std::string(name);
}

}  // namespace zelto
