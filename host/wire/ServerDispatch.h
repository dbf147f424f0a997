#pragma once

#include <expected>
#include <memory>
#include <string>

#include "host/ZeltoFileProviderServerInterface.h"
#include "platform/messaging/NSXPCInterface.h"

namespace zelto::wire {

// Decodes one incoming call and makes it on the host's object. `port` is null when the peer expects no
// reply.
// ERRORS: the violation's text; the object was not called.
std::expected<std::shared_ptr<NSProgress>, std::string> dispatchServerCall(
    ZeltoFileProviderServerInterface& server, const XPCMessage& call, std::shared_ptr<XPCReplyPort> port);

}  // namespace zelto::wire
