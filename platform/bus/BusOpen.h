#pragma once

#include <cstdint>
#include <expected>
#include <string>

#include "platform/bus/BusHandles.h"
#include "platform/foundation/NSError.h"

namespace zelto {

// Sleeps until the connection wants to be processed, the descriptor `wake` (when not negative) is
// readable, or the monotonic time `latest` (microseconds; UINT64_MAX: never) has come. BLOCKS.
void waitForBus(sd_bus* bus, int wake, std::uint64_t latest);
std::uint64_t monotonicMicroseconds();

// A connection to the bus at the address that has said hello. BLOCKS: up to ten seconds.
// ERRORS: the system's reason, ETIMEDOUT.
std::expected<BusHandle, NSError> openBus(const std::string& address);
// The first candidate that can be reached. ERRORS: none can; the description names each with its reason
// and says what to do.
std::expected<BusHandle, NSError> openSessionBus();

}  // namespace zelto
