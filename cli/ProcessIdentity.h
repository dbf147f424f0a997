#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include <sys/types.h>

#include "platform/foundation/UniqueDescriptor.h"

namespace zelto::cli {

// A process that cannot be mistaken for a later one with the same number: the number, when it was started
// (clock ticks since the boot) and which boot that was.
struct ProcessIdentity {
  pid_t pid = 0;
  std::uint64_t startTime = 0;
  std::string boot;

  friend bool operator==(const ProcessIdentity&, const ProcessIdentity&) = default;
};

// Nothing when there is no such process.
std::optional<ProcessIdentity> identityOf(pid_t pid);
// Also false for a process that has ended and waits for its parent to notice.
bool isRunning(const ProcessIdentity& process);
// BLOCKS: until the process has ended or the time is over. True when it has ended.
bool waitForEnd(const ProcessIdentity& process, std::chrono::milliseconds limit);
// Sends SIGTERM, and SIGKILL when that does not help in `patience`. Never signals another process that got
// the number meanwhile. BLOCKS. True when the process has ended.
bool endProcess(const ProcessIdentity& process, std::chrono::milliseconds patience);

}  // namespace zelto::cli
