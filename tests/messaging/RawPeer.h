#pragma once

#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/socket.h>

#include "host/wire/FileProvider.capnp.h"
#include "host/wire/Interfaces.h"
#include "host/wire/MessageCodec.h"
#include "platform/messaging/DescriptorSocket.h"
#include "platform/messaging/Frame.h"
#include "platform/messaging/FrameReader.h"
#include "platform/messaging/XPCConnection.h"
#include "tests/messaging/FakeServer.h"

namespace zelto::test {

inline std::vector<std::uint64_t> pathBody(const std::string& path = "/p") {
  return wire::encodeMessage<wire::Path>(0, [&](wire::Path::Builder out, auto&) { out.setPath(path); })->body;
}

// A real connection whose peer is the test itself, byte by byte. Both directions speak the server
// interface, so that calls as well as replies can be forged.
class RawPeer {
 public:
  explicit RawPeer(WriterLimits limits = {}) {
    auto ends = makeSocketPair(SOCK_STREAM).value();
    socket = std::move(ends.first);
    connection = XPCConnection::create(std::move(ends.second), limits);
    connection->setExportedInterface(makeServerInterface());
    connection->setExportedObject(std::shared_ptr<ZeltoFileProviderServerInterface>(fake));
    connection->setRemoteObjectInterface(makeServerInterface());
    connection->setInvalidationHandler([this] { invalidations.put("invalidated"); });
    connection->resume();
    server = static_cast<NSXPCConnection&>(*connection).remoteObjectProxy<ZeltoFileProviderServerInterface>();
  }
  ~RawPeer() {
    connection->invalidate();
    // Its thread has the fake's address.
    connection.reset();
  }

  void send(std::span<const std::byte> bytes, std::vector<UniqueDescriptor> descriptors = {}) {
    while (!bytes.empty()) {
      iovec piece{.iov_base = const_cast<std::byte*>(bytes.data()), .iov_len = bytes.size()};
      ssize_t sent = sendNow(socket.get(), std::span(&piece, 1), descriptors);
      if (sent == -EAGAIN) continue;
      if (sent < 0) return;  // closed by the other side, as many of these tests expect
      bytes = bytes.subspan(static_cast<std::size_t>(sent));
      descriptors.clear();
    }
  }
  void send(FrameHeader header, std::vector<std::uint64_t> body = {},
            std::vector<UniqueDescriptor> descriptors = {}) {
    header.bodyLength = static_cast<std::uint32_t>(body.size() * 8);
    header.descriptors = static_cast<std::uint16_t>(descriptors.size());
    auto bytes = encodeFrameHeader(header);
    std::vector<std::byte> all(bytes.begin(), bytes.end());
    auto rest = std::as_bytes(std::span(body));
    all.insert(all.end(), rest.begin(), rest.end());
    send(all, std::move(descriptors));
  }
  void hello() { send({.kind = FrameKind::hello}, helloMessage(1, 1).body); }

  // The next frame that the connection sends.
  IncomingFrame receive() { return std::move(*reader().next().value()); }
  void skipHello() { EXPECT_EQ(FrameKind::hello, receive().kind); }
  bool isClosed() { return invalidations.take() == "invalidated"; }

  UniqueDescriptor socket;
  std::shared_ptr<FakeServer> fake = std::make_shared<FakeServer>();
  std::shared_ptr<XPCConnection> connection;
  std::shared_ptr<ZeltoFileProviderServerInterface> server;
  Mailbox<std::string> invalidations;

 private:
  FrameReader& reader() {
    if (!reader_) reader_ = std::make_unique<FrameReader>(socket.get());
    return *reader_;
  }
  std::unique_ptr<FrameReader> reader_;
};

}  // namespace zelto::test
