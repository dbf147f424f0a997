#pragma once

#include <string>

namespace zelto {

// 36 characters, upper case.
std::string newUuidName();

}  // namespace zelto
