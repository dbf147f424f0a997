#pragma once

#include <string>

namespace zelto {

// A new random UUID in its text form, in capitals. THREAD: any.
std::string newUUIDString();

}  // namespace zelto
