#pragma once

#include <string>
#include <variant>

#include "cli/Options.h"
#include "cli/Outcome.h"

namespace zelto::cli {

// What parsing ends with when there is no command to run: the help text, or what is wrong.
struct Message {
  ExitCode code = ExitCode::success;
  std::string text;
};

std::variant<Invocation, Message> parseCommandLine(int argc, const char* const* argv);

}  // namespace zelto::cli
