#pragma once

#include <string>

#include "cli/Outcome.h"

namespace zelto::cli {

// Where the sample lies: "sample" in the data home.
std::string sampleFolder();
// A few shares to try things on. An existing sample stays as the user has left it. ERRORS: it cannot be
// written.
Outcome makeSampleTree(const std::string& folder);

}  // namespace zelto::cli
