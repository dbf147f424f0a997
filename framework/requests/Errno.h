#pragma once

#include "platform/foundation/NSError.h"

namespace zelto {

// The errno value that tells a program best what an error of the extension or the disk means.
int errnoForError(const NSError& error);

}  // namespace zelto
