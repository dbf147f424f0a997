#pragma once

#include <cstdint>
#include <expected>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/NSProgress.h"
#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {

// One encoded call or reply, as a protocol's codecs hand it to a connection and get it from one. The body
// is opaque here: whole 64-bit words, aligned.
struct XPCMessage {
  std::uint16_t operation = 0;
  std::vector<std::uint64_t> body;
  std::vector<UniqueDescriptor> descriptors;
};

// Why an incoming message breaks the protocol; nothing when it does not. The connection is closed with
// this text in its diagnostic.
using XPCViolation = std::optional<std::string>;

// A reply too long for one frame, encoded part by part as fast as the peer reads.
class XPCMessageSource {
 public:
  virtual ~XPCMessageSource() = default;
  struct Part {
    XPCMessage message;
    bool last = false;
  };
  // Nothing when the part cannot be encoded: the connection is then closed. Not called after the last.
  // THREAD: the connection's writer.
  virtual std::optional<Part> nextPart() = 0;
};

// Where the reply to one incoming call goes. The first reply counts, later ones are ignored, and dropping
// the port without a reply sends nothing.
// THREAD: any.
class XPCReplyPort {
 public:
  virtual ~XPCReplyPort() = default;
  virtual void reply(XPCMessage message) = 0;
  virtual void reply(std::unique_ptr<XPCMessageSource> source) = 0;
};

// Takes the reply to one outgoing call. Destroyed without a reply when the connection ends.
// THREAD: the connection's.
class XPCReplyHandler {
 public:
  virtual ~XPCReplyHandler() = default;
  // Each part before the reply itself.
  virtual XPCViolation receivePart(XPCMessage part) = 0;
  // COMPLETES: the caller's completion, before it returns.
  virtual XPCViolation receiveReply(XPCMessage reply) = 0;
};

// A connection as a remote proxy sees it. Every operation returns at once; on a dead connection each does
// nothing and destroys what it was given.
// THREAD: any.
class XPCChannel {
 public:
  virtual ~XPCChannel() = default;
  virtual bool isOpen() const = 0;
  virtual void send(XPCMessage call) = 0;
  // For many small calls without a reply, in order: while the peer is slow they are joined into one frame
  // (their bodies laid end to end) and, beyond a bound, dropped and counted.
  virtual void sendJoined(XPCMessage call) = 0;
  virtual void call(XPCMessage call, std::unique_ptr<XPCReplyHandler> handler) = 0;
  // The progress follows the peer's; cancelling it cancels the peer's, whatever cancellation handler the
  // caller sets. Never null.
  virtual std::shared_ptr<NSProgress> callWithProgress(XPCMessage call,
                                                       std::unique_ptr<XPCReplyHandler> handler) = 0;
};

// One side's protocol on the wire: makes remote proxies of it and brings incoming calls of it to the
// exported object.
class NSXPCInterface {
 public:
  virtual ~NSXPCInterface() = default;
  // Both sides must speak the same version; it is compared when a connection opens.
  virtual std::uint32_t version() const = 0;
  // As a shared_ptr to the protocol's class.
  virtual std::shared_ptr<void> makeProxy(std::shared_ptr<XPCChannel> channel) const = 0;
  // The result is the progress that the object returned, null where there is none. `port` is null when
  // the peer expects no reply. `object` points to the protocol's class.
  // ERRORS: the violation's text.
  // THREAD: the connection's.
  virtual std::expected<std::shared_ptr<NSProgress>, std::string> dispatch(
      void* object, XPCMessage call, std::shared_ptr<XPCReplyPort> port) const = 0;
};

}  // namespace zelto
