#pragma once

#include <string_view>

namespace zelto {

// A named place in the program at which a test can have it killed: with ZELTO_KILL_POINT="NAME:COUNT" in the
// environment the process ends itself by SIGKILL when it passes that place for the COUNTth time (COUNT may
// be left out). Without the variable, passing costs one comparison. The names are in docs/TESTING.md.
// THREAD: any.
void killPoint(std::string_view name);

}  // namespace zelto
