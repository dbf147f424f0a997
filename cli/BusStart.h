#pragma once

#include <expected>
#include <optional>
#include <string>

#include "cli/Outcome.h"

namespace zelto::cli {

// The address of the first session bus that can be reached. BLOCKS: ten seconds per address at most.
std::optional<std::string> reachableBus();
// The same, or a bus of our own started in the runtime directory, when there is none.
std::expected<std::string, Failure> reachableOrStartedBus();
// Makes this process use the bus at the address, if it can be reached.
void preferBus(const std::string& address);
// Ends the bus that reachableOrStartedBus has started in this or an earlier run.
void endOwnBus();

}  // namespace zelto::cli
