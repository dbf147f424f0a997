#pragma once

// The one place that fixes the version of the FUSE library's interface.
#define FUSE_USE_VERSION FUSE_MAKE_VERSION(3, 14)
#include <fuse3/fuse_lowlevel.h>
