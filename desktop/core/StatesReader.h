#pragma once

#include <functional>

#include "desktop/core/GlibHandles.h"
#include "desktop/core/ItemState.h"

namespace zelto::desktop {

using StatesCompletion = std::move_only_function<void(std::optional<std::vector<PathState>>)>;

// Reads the reply of ItemStates or FolderStates; a long one in another thread, so that a folder of a hundred
// thousand items does not stop the file browser.
// THREAD: the main context's. COMPLETES: once, on the same thread, at once for a short reply; not at all once
// `cancellable` is cancelled.
void readStates(VariantPointer reply, GCancellable& cancellable, StatesCompletion completion);

}  // namespace zelto::desktop
