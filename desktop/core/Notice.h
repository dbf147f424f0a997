#pragma once

#include <string>

#include "desktop/core/GlibHandles.h"

namespace zelto::desktop {

// Shows something to the user as a notification of the desktop; writes it to the standard error where there
// is nobody who shows it. THREAD: the main context's. BLOCKS: never.
void showNotice(GDBusConnection& bus, const std::string& title, const std::string& text);

}  // namespace zelto::desktop
