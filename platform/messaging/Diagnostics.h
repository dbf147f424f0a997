#pragma once

#include <string_view>

namespace zelto {

// One line on stderr, for whoever runs the program: what went wrong on a connection has no other place to
// go, since the log itself travels over it.
void printDiagnostic(std::string_view text);

// Names the calling thread for debuggers and `ps -L`.
// REQUIRES: at most 15 bytes.
void nameThisThread(const char* name);

}  // namespace zelto
