#pragma once

#include <string>

#include "tests/system/TestSystem.h"

namespace zelto::test {

// Waits until the server has every local change. "", or what is still to be sent.
std::string waitUntilSettled(TestSystem& system, std::chrono::milliseconds limit = std::chrono::seconds(60));
// The manager's list of local changes, as it stands: JSON, "[]" for none.
std::string pendingNow(TestSystem& system);
// Files that are in no tree: contents in transfer, hidden temporary names on the server, contents of local
// changes. REQUIRES: everything has settled. "" for none, which may take a moment.
std::string strayFiles(TestSystem& system);
// How many local changes there are of a kind of the manager's status; -1 when it does not answer.
std::int64_t countOf(TestSystem& system, const char* what);

}  // namespace zelto::test
