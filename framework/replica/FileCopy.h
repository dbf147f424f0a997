#pragma once

#include "platform/fileprovider/NSFileProviderTypes.h"

namespace zelto {

// Copies a range of one file to the same place in another: shared where the disk can share, else by the
// kernel, else by hand. BLOCKS: on the disk. 0 or an errno; EIO when the source ends before the range.
int copyRange(int from, int to, NSRange range);

}  // namespace zelto
