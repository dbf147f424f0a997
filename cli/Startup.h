#pragma once

#include <memory>

#include "cli/Outcome.h"
#include "cli/RunRecord.h"
#include "platform/bus/SessionBus.h"

namespace zelto::cli {

// What has to be there before anything is started: the two programs, and a usable /dev/fuse.
// ERRORS: each with what to do.
Outcome checkRequirements();

// Start one half, detached; the record gets its process.
Outcome startHost(RunRecord& record);
Outcome startExtension(RunRecord& record);

// BLOCKS: until the mount answers and the host is connected, at most the start limit; shows on a terminal
// what it waits for. ERRORS: a process has ended (with the end of its output), time out.
Outcome waitUntilServing(const RunRecord& record, const std::shared_ptr<SessionBus>& bus);

}  // namespace zelto::cli
