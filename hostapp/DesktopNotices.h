#pragma once

#include <memory>

#include "hostapp/Notices.h"
#include "platform/bus/SessionBus.h"

namespace zelto {

// Shows notices as notifications of the desktop. Where there is none, nothing happens.
Notices::Send desktopNotices(std::weak_ptr<SessionBus> bus);

}  // namespace zelto
