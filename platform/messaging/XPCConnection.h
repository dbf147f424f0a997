#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/messaging/CallTables.h"
#include "platform/messaging/FrameWriter.h"
#include "platform/messaging/NSXPCConnection.h"
#include "platform/messaging/NSXPCInterface.h"

namespace zelto {

// The connection over one stream socket. Its reader thread, made by resume, owns it until the stream
// ends; proxies and reply ports reach it as a channel.
class XPCConnection final : public NSXPCConnection,
                            public XPCChannel,
                            public std::enable_shared_from_this<XPCConnection> {
 public:
  static std::shared_ptr<XPCConnection> create(UniqueDescriptor socket, WriterLimits limits = {});
  ~XPCConnection() override;

  void setExportedInterface(std::shared_ptr<NSXPCInterface> interface) override;
  void setExportedObject(std::shared_ptr<void> object) override;
  void setRemoteObjectInterface(std::shared_ptr<NSXPCInterface> interface) override;
  void setInvalidationHandler(std::move_only_function<void()> handler) override;
  void resume() override;
  void invalidate() override;

  bool isOpen() const override { return phase_.load() == Phase::open; }
  void send(XPCMessage call) override;
  void sendJoined(XPCMessage call) override;
  void call(XPCMessage call, std::unique_ptr<XPCReplyHandler> handler) override;
  std::shared_ptr<NSProgress> callWithProgress(XPCMessage call,
                                               std::unique_ptr<XPCReplyHandler> handler) override;

  const FrameWriter& writer() const { return *writer_; }

 protected:
  std::shared_ptr<void> makeRemoteObjectProxy() override;

 private:
  class ReplyPort;
  enum class Phase { idle, open, ended };

  explicit XPCConnection(std::shared_ptr<FrameWriter> writer) : writer_(std::move(writer)) {}

  // What was set before resume, as one copy.
  struct Setup {
    std::shared_ptr<NSXPCInterface> exported;
    std::shared_ptr<void> object;
    std::shared_ptr<NSXPCInterface> remote;
  };

  void run(const std::shared_ptr<UniqueDescriptor>& socket, const Setup& setup);
  void readFrames(int socket, const Setup& setup);
  // Ends the connection with a line on stderr, unless it has ended.
  void fail(const std::string& reason);
  void release();

  XPCViolation receive(IncomingFrame& frame, const Setup& setup);
  XPCViolation receiveHello(const IncomingFrame& frame, const Setup& setup) const;
  XPCViolation receiveCall(IncomingFrame& frame, const Setup& setup);
  XPCViolation receivePart(IncomingFrame& frame);
  XPCViolation receiveReply(IncomingFrame& frame);
  XPCViolation receiveProgress(const IncomingFrame& frame);
  XPCViolation receiveCancel(const IncomingFrame& frame);

  void start(XPCMessage call, std::unique_ptr<XPCReplyHandler> handler, std::shared_ptr<NSProgress> progress);
  void cancelCall(std::uint64_t id);
  void follow(std::uint64_t id, const std::shared_ptr<NSProgress>& progress);
  void sendProgress(std::uint64_t id, ProgressCounts counts);
  // False when the call has been answered or the connection has ended.
  bool finishIncoming(std::uint64_t id);

  const std::shared_ptr<FrameWriter> writer_;
  OutgoingCalls outgoing_;
  IncomingCalls incoming_;
  std::atomic<Phase> phase_{Phase::idle};

  std::mutex mutex_;
  Setup setup_;
  std::move_only_function<void()> invalidationHandler_;
};

}  // namespace zelto
