#pragma once

#include <functional>
#include <string>
#include <vector>

#include "cli/Outcome.h"

namespace zelto::cli {

// The last lines of a file, at most `count`, read from its end; none when it cannot be read.
std::vector<std::string> lastLines(const std::string& path, std::size_t count);
// Hands over what is appended to the file from its present end on; begins anew when the file is replaced
// or cut. BLOCKS: for ever, or until the handler returns false. ERRORS: the folder cannot be watched.
Outcome followFile(const std::string& path, const std::function<bool(std::string_view)>& handler);

}  // namespace zelto::cli
