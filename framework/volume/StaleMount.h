#pragma once

#include <string>

namespace zelto {

// Unmounts what a killed process left at a mount point: a volume whose every access fails with ENOTCONN.
// Leaves anything else alone. BLOCKS: on the unmount helper.
void clearStaleMount(const std::string& mountPoint);

}  // namespace zelto
