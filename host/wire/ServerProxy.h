#pragma once

#include <memory>

#include "host/ZeltoFileProviderServerInterface.h"
#include "platform/messaging/NSXPCInterface.h"

namespace zelto::wire {

// The host's object as the extension holds it: each call goes over the channel.
std::shared_ptr<ZeltoFileProviderServerInterface> makeServerProxy(std::shared_ptr<XPCChannel> channel);

}  // namespace zelto::wire
