#pragma once

#include <string>

namespace zelto {

// 36 characters, upper case.
std::string newUuidName();
bool isUuidName(const std::string& name);

}  // namespace zelto
