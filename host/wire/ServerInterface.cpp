#include "host/wire/FileProvider.capnp.h"
#include "host/wire/Interfaces.h"
#include "host/wire/ServerDispatch.h"
#include "host/wire/ServerProxy.h"
#include "platform/messaging/NSXPCInterface.h"

namespace zelto {

namespace {

class ServerInterface final : public NSXPCInterface {
 public:
  std::uint32_t version() const override { return wire::SCHEMA_VERSION; }
  std::shared_ptr<void> makeProxy(std::shared_ptr<XPCChannel> channel) const override {
    return wire::makeServerProxy(std::move(channel));
  }
  std::expected<std::shared_ptr<NSProgress>, std::string> dispatch(
      void* object, XPCMessage call, std::shared_ptr<XPCReplyPort> port) const override {
    return wire::dispatchServerCall(*static_cast<ZeltoFileProviderServerInterface*>(object), call,
                                    std::move(port));
  }
};

}  // namespace

std::shared_ptr<NSXPCInterface> makeServerInterface() { return std::make_shared<ServerInterface>(); }

}  // namespace zelto
