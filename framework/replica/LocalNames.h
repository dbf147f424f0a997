#pragma once

#include <string_view>

namespace zelto {

// Whether a new file or symbolic link of this name is a lock, swap, probe or backup file of a program: of use
// on this machine only. What already is on the server is not asked about.
bool staysLocal(std::string_view name);

}  // namespace zelto
