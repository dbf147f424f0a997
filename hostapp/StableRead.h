#pragma once

#include <expected>
#include <functional>

#include "hostapp/ServerBackend.h"

namespace zelto {

// Whether two looks at a file saw the same content.
bool isSameVersion(const EntryStat& before, const EntryStat& after);

// Waits until a change of the file from now on shows in its times: a file that has just changed could
// change again within the same step of the file system's clock. At most a few hundredths of a second.
void waitUntilTimesTell(const EntryStat& stat);

// How often a read is tried before a file that keeps changing is given up.
inline constexpr int kReadAttempts = 4;
NSError keepsChangingError(std::string_view path);

}  // namespace zelto
