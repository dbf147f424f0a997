#pragma once

#include <string>
#include <string_view>

#include "platform/bus/ManagerInterface.h"

namespace zelto::desktop {

// The beginning that the bus names of all managers have, with and without the last dot.
inline const std::string& namePrefix() {
  static const std::string prefix = manager::busName("");
  return prefix;
}
inline std::string nameSpace() { return namePrefix().substr(0, namePrefix().size() - 1); }
inline bool isDomainName(std::string_view busName) {
  return busName.starts_with(namePrefix()) && busName.size() > namePrefix().size();
}
inline std::string domainOfName(const std::string& busName) { return busName.substr(namePrefix().size()); }

}  // namespace zelto::desktop
