#pragma once

#include <memory>

#include "cli/Outcome.h"
#include "cli/RunRecord.h"
#include "platform/bus/SessionBus.h"

namespace zelto::cli {

// Ends what the record names: asks both processes, then makes them; unmounts; removes the mount point if
// `up` made it, the record, and the bus when no other domain needs it. `bus` may be null.
// ERRORS: a process or mount that stays; the rest is done all the same.
Outcome takeDown(const RunRecord& record, const std::shared_ptr<SessionBus>& bus);
// Ends our own bus and removes the runtime directory, when no domain is recorded any more.
void removeUnusedRuntime();

}  // namespace zelto::cli
