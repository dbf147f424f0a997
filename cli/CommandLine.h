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

// Letters, digits and "_", not starting with a digit, at most 64: a domain is part of a bus name.
bool isDomainName(const std::string& name);

}  // namespace zelto::cli
