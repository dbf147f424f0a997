// Whatever a peer sends on the private connection: frames as the reader cuts them, calls as the host's side
// decodes them and replies as the extension's side does. The first byte chooses.

#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include <sys/socket.h>

#include "host/ZeltoFileProviderServerInterface.h"
#include "host/wire/Interfaces.h"
#include "platform/messaging/DescriptorSocket.h"
#include "platform/messaging/FrameReader.h"
#include "platform/messaging/NSXPCInterface.h"

namespace zelto {
namespace {

// Takes each call's reply handler away from the proxy.
class CapturingChannel final : public XPCChannel {
 public:
  bool isOpen() const override { return true; }
  void send(XPCMessage) override {}
  void sendJoined(XPCMessage) override {}
  void call(XPCMessage, std::unique_ptr<XPCReplyHandler> replyHandler) override {
    handler = std::move(replyHandler);
  }
  std::shared_ptr<NSProgress> callWithProgress(XPCMessage,
                                               std::unique_ptr<XPCReplyHandler> replyHandler) override {
    handler = std::move(replyHandler);
    return NSProgress::create();
  }

  std::unique_ptr<XPCReplyHandler> handler;
};

// Drops what the host replies.
class SilentPort final : public XPCReplyPort {
 public:
  void reply(XPCMessage) override {}
  void reply(std::unique_ptr<XPCMessageSource>) override {}
};

// A proxy over a channel that leads nowhere: an object that takes every call.
std::shared_ptr<ZeltoFileProviderServerInterface> proxyOver(std::shared_ptr<XPCChannel> channel) {
  return std::static_pointer_cast<ZeltoFileProviderServerInterface>(
      makeServerInterface()->makeProxy(std::move(channel)));
}

XPCMessage messageOf(std::uint16_t operation, std::span<const std::uint8_t> bytes) {
  XPCMessage message;
  message.operation = operation;
  message.body.resize(bytes.size() / sizeof(std::uint64_t));
  std::copy_n(bytes.data(), message.body.size() * sizeof(std::uint64_t),
              reinterpret_cast<std::uint8_t*>(message.body.data()));
  return message;
}

void fuzzFrames(std::span<const std::uint8_t> bytes) {
  auto ends = makeSocketPair(SOCK_STREAM);
  if (!ends) return;
  if (!bytes.empty() &&
      ::send(ends->first.get(), bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL) < 0)
    return;
  ends->first.reset();
  FrameReader reader(ends->second.get());
  while (true) {
    auto frame = reader.next();
    if (!frame || !*frame) return;
  }
}

void fuzzCall(std::uint8_t operation, std::span<const std::uint8_t> bytes) {
  auto object = proxyOver(std::make_shared<CapturingChannel>());
  // The upper bit says whether the call carries an id.
  auto port = operation & 0x80 ? std::make_shared<SilentPort>() : nullptr;
  (void)makeServerInterface()->dispatch(object.get(), messageOf(operation & 0x7F, bytes), std::move(port));
}

void fuzzReply(std::uint8_t shape, std::span<const std::uint8_t> bytes) {
  auto channel = std::make_shared<CapturingChannel>();
  auto server = proxyOver(channel);
  if (shape % 4 == 0) server->metadataForSharesWithCompletion([](auto) {});
  if (shape % 4 == 1) server->retrieveChangesWithCompletion([](auto, auto) {});
  if (shape % 4 == 2) server->downloadItemWithPath("/p", [](auto, auto, auto) {});
  if (shape % 4 == 3) server->downloadItemWithPath("/p", NSRange(), 1, [](auto, auto, auto, auto) {});
  // Once as a part, then as the end.
  (void)channel->handler->receivePart(messageOf(0, bytes));
  (void)channel->handler->receiveReply(messageOf(0, bytes));
}

}  // namespace
}  // namespace zelto

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::span<const std::uint8_t> bytes(data, size);
  if (size < 2) return 0;
  if (bytes[0] % 3 == 0) zelto::fuzzFrames(bytes.subspan(1));
  if (bytes[0] % 3 == 1) zelto::fuzzCall(bytes[1], bytes.subspan(2));
  if (bytes[0] % 3 == 2) zelto::fuzzReply(bytes[1], bytes.subspan(2));
  return 0;
}
