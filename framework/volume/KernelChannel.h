#pragma once

#include "framework/volume/FuseLowLevel.h"

namespace zelto {

// Puts our own reading and writing under a mounted session, to tell the kernel in the first answer what this
// version of the FUSE library has no word for: that a write here leaves no privileges of a file to take away.
// Without that the kernel asks for a file's "security.capability" before every single write.
// REQUIRES: before the session's loop; the session's user data is the volume. Gives 0 or an errno value.
int openKernelChannel(fuse_session* session);

}  // namespace zelto
