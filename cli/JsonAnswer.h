#pragma once

#include <string>

#include "cli/Client.h"

namespace zelto::cli {

// Prints the JSON that a call is answered with, for programs.
Outcome printAnswer(const Client& client, const std::string& method, BusArguments arguments);

}  // namespace zelto::cli
