#include <utility>

#include <fmt/format.h>

#include "host/ZeltoFileProviderClientInterface.h"
#include "host/wire/FileProvider.capnp.h"
#include "host/wire/Interfaces.h"
#include "host/wire/MessageCodec.h"
#include "platform/messaging/NSXPCInterface.h"

namespace zelto {

namespace {

using wire::ClientOperation;

class ClientProxy final : public ZeltoFileProviderClientInterface {
 public:
  explicit ClientProxy(std::shared_ptr<XPCChannel> channel) : channel_(std::move(channel)) {}

  void disconnect() override {
    send(wire::encodeMessage<wire::Nothing>(ClientOperation::DISCONNECT,
                                            [](wire::Nothing::Builder, auto&) {}));
  }
  void updateUseMyFiles(bool useMyFiles, bool useOfflineFiles) override {
    send(wire::encodeMessage<wire::Configuration>(ClientOperation::UPDATE_USE_MY_FILES,
                                                  [&](wire::Configuration::Builder out, auto&) {
                                                    out.setUseMyFiles(useMyFiles);
                                                    out.setUseOfflineFiles(useOfflineFiles);
                                                  }));
  }

 private:
  void send(std::optional<XPCMessage> message) const {
    if (message) channel_->send(std::move(*message));
  }

  const std::shared_ptr<XPCChannel> channel_;
};

XPCViolation callClient(ZeltoFileProviderClientInterface& client, const XPCMessage& call) {
  switch (static_cast<ClientOperation>(call.operation)) {
    case ClientOperation::DISCONNECT: {
      auto in = wire::decodeMessage<wire::Nothing>(call.body, [](wire::Nothing::Reader) { return true; });
      if (!in) return std::move(in.error());
      client.disconnect();
      return std::nullopt;
    }
    case ClientOperation::UPDATE_USE_MY_FILES: {
      auto in = wire::decodeMessage<wire::Configuration>(call.body, [](wire::Configuration::Reader reader) {
        return std::pair(reader.getUseMyFiles(), reader.getUseOfflineFiles());
      });
      if (!in) return std::move(in.error());
      client.updateUseMyFiles(in->first, in->second);
      return std::nullopt;
    }
  }
  return fmt::format("a call of the unknown operation {}", call.operation);
}

class ClientInterface final : public NSXPCInterface {
 public:
  std::uint32_t version() const override { return wire::SCHEMA_VERSION; }
  std::shared_ptr<void> makeProxy(std::shared_ptr<XPCChannel> channel) const override {
    return std::static_pointer_cast<ZeltoFileProviderClientInterface>(
        std::make_shared<ClientProxy>(std::move(channel)));
  }
  std::expected<std::shared_ptr<NSProgress>, std::string> dispatch(
      void* object, XPCMessage call, std::shared_ptr<XPCReplyPort> port) const override {
    if (port) return std::unexpected(fmt::format("a call of operation {} with an id", call.operation));
    if (!call.descriptors.empty()) return std::unexpected(std::string("a call with descriptors"));
    auto violation = callClient(*static_cast<ZeltoFileProviderClientInterface*>(object), call);
    if (violation) return std::unexpected(std::move(*violation));
    return nullptr;
  }
};

}  // namespace

std::shared_ptr<NSXPCInterface> makeClientInterface() { return std::make_shared<ClientInterface>(); }

}  // namespace zelto
