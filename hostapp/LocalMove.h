#pragma once

#include <expected>

#include "hostapp/LocalPlace.h"

namespace zelto {

// Renames what is at one place to another, which has to be free, in one step. Onto itself it does nothing.
// ERRORS: those of `writeError`; another volume. BLOCKS: on the disk.
std::expected<BackendEntry, NSError> moveLocally(const LocalPlace& from, const LocalPlace& to);

}  // namespace zelto
