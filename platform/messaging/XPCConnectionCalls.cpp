#include <atomic>
#include <functional>
#include <mutex>
#include <utility>

#include <fmt/format.h>

#include "platform/messaging/Frame.h"
#include "platform/messaging/XPCConnection.h"

namespace zelto {

// Calls in both directions over an open connection; its life is in XPCConnection.cpp.

class XPCConnection::ReplyPort final : public XPCReplyPort {
 public:
  ReplyPort(std::weak_ptr<XPCConnection> connection, std::uint64_t id, std::uint16_t operation)
      : connection_(std::move(connection)), id_(id), operation_(operation) {}
  ~ReplyPort() override {
    auto connection = connection_.lock();
    if (connection && !answered_.load()) connection->incoming_.remove(id_);
  }

  void reply(XPCMessage message) override {
    message.operation = operation_;
    send([this, message = std::move(message)](XPCConnection& connection) mutable {
      connection.writer_->write({.kind = FrameKind::reply, .id = id_, .message = std::move(message)});
    });
  }
  void reply(std::unique_ptr<XPCMessageSource> source) override {
    send([this, source = std::move(source)](XPCConnection& connection) mutable {
      connection.writer_->write(id_, operation_, std::move(source));
    });
  }

  // The exported object has been called, and the progress that it gave is known. A reply that was faster
  // goes out now: before, its last counts would have been lost.
  void dispatched() {
    Sending held;
    {
      const std::scoped_lock lock(mutex_);
      dispatched_ = true;
      held = std::move(held_);
    }
    if (held) sendNow(std::move(held));
  }

 private:
  using Sending = std::move_only_function<void(XPCConnection&)>;

  void send(Sending sending) {
    if (answered_.exchange(true)) return;
    {
      const std::scoped_lock lock(mutex_);
      if (!dispatched_) {
        held_ = std::move(sending);
        return;
      }
    }
    sendNow(std::move(sending));
  }

  void sendNow(Sending sending) {
    const auto connection = connection_.lock();
    if (connection && connection->finishIncoming(id_)) sending(*connection);
  }

  const std::weak_ptr<XPCConnection> connection_;
  const std::uint64_t id_;
  const std::uint16_t operation_;
  std::atomic<bool> answered_{false};
  std::mutex mutex_;  // guards what is below
  bool dispatched_ = false;
  Sending held_;
};

void XPCConnection::send(XPCMessage call) {
  if (isOpen()) writer_->write({.kind = FrameKind::call, .message = std::move(call)});
}

void XPCConnection::sendJoined(XPCMessage call) {
  if (isOpen()) writer_->write({.kind = FrameKind::call, .message = std::move(call), .joinable = true});
}

void XPCConnection::call(XPCMessage call, std::unique_ptr<XPCReplyHandler> handler) {
  if (!isOpen()) return;
  std::uint16_t operation = call.operation;
  if (auto id = outgoing_.add({.operation = operation, .handler = std::move(handler), .progress = nullptr}))
    writer_->write({.kind = FrameKind::call, .id = *id, .message = std::move(call)});
}

std::shared_ptr<NSProgress> XPCConnection::callWithProgress(XPCMessage call,
                                                            std::unique_ptr<XPCReplyHandler> handler) {
  auto progress = NSProgress::create();
  if (!isOpen()) return progress;
  std::uint16_t operation = call.operation;
  auto id = outgoing_.add({.operation = operation, .handler = std::move(handler), .progress = progress});
  if (!id) return progress;
  // In a child, which takes no part in the counts: the progress's own handler is the caller's to set.
  auto cancellation = NSProgress::create();
  cancellation->setCancellationHandler([connection = weak_from_this(), id = *id] {
    if (auto self = connection.lock()) self->cancelCall(id);
  });
  progress->addChild(std::move(cancellation), 0);
  writer_->write({.kind = FrameKind::call, .id = *id, .message = std::move(call)});
  return progress;
}

void XPCConnection::cancelCall(std::uint64_t id) {
  if (outgoing_.find(id)) writer_->write({.kind = FrameKind::cancel, .id = id, .message = {}});
}

bool XPCConnection::finishIncoming(std::uint64_t id) {
  auto call = incoming_.remove(id);
  if (!call) return false;
  if (call->unsent) sendProgress(id, *call->unsent);
  return true;
}

void XPCConnection::sendProgress(std::uint64_t id, ProgressCounts counts) {
  writer_->write({.kind = FrameKind::progress, .id = id, .message = progressMessage(counts)});
}

// Sends each change of the progress that an exported object returned.
void XPCConnection::follow(std::uint64_t id, const std::shared_ptr<NSProgress>& progress) {
  if (!incoming_.attach(id, progress)) return;
  auto changed = [connection = weak_from_this(), id](const NSProgress& now) {
    auto self = connection.lock();
    auto counts = countsOf(now);
    if (self && self->incoming_.isUpdateDue(id, counts)) self->sendProgress(id, counts);
  };
  progress->setChangeHandler(changed);
  changed(*progress);
}

XPCViolation XPCConnection::receive(IncomingFrame& frame, const Setup& setup) {
  switch (frame.kind) {
    case FrameKind::call:
      return receiveCall(frame, setup);
    case FrameKind::part:
      return receivePart(frame);
    case FrameKind::reply:
      return receiveReply(frame);
    case FrameKind::progress:
      return receiveProgress(frame);
    case FrameKind::cancel:
      return receiveCancel(frame);
    case FrameKind::hello:
      break;
  }
  return "a second hello";
}

XPCViolation XPCConnection::receiveHello(const IncomingFrame& frame, const Setup& setup) const {
  if (frame.kind != FrameKind::hello) return "the first frame is not a hello";
  auto peer = decodeHello(frame.message);
  if (!peer) return peer.error();
  auto check = [](std::uint32_t theirs, std::uint32_t ours) -> XPCViolation {
    if (theirs == 0 || ours == 0 || theirs == ours) return std::nullopt;
    return fmt::format("the peer speaks version {} of the interface, we speak version {}", theirs, ours);
  };
  if (auto text = check(peer->exported, setup.remote ? setup.remote->version() : 0)) return text;
  return check(peer->remote, setup.exported ? setup.exported->version() : 0);
}

XPCViolation XPCConnection::receiveCall(IncomingFrame& frame, const Setup& setup) {
  if (!setup.exported || !setup.object) return "a call to a side that exports nothing";
  std::shared_ptr<ReplyPort> port;
  if (frame.id != 0) {
    auto added = incoming_.add(frame.id);
    if (!added) return fmt::format("over {} calls wait for a reply", IncomingCalls::kMaximum);
    if (!*added) return fmt::format("call id {} is in use", frame.id);
    port = std::make_shared<ReplyPort>(weak_from_this(), frame.id, frame.message.operation);
  }
  auto progress = setup.exported->dispatch(setup.object.get(), std::move(frame.message), port);
  if (!progress) return std::move(progress.error());
  if (*progress && port) follow(frame.id, *progress);
  if (port) port->dispatched();
  return std::nullopt;
}

XPCViolation XPCConnection::receivePart(IncomingFrame& frame) {
  auto call = outgoing_.find(frame.id);
  // A call leaves the table when the connection ends, too; then nothing is looked at any more.
  if (!call) return fmt::format("a part of a reply to call {}, which awaits none", frame.id);
  if (call->operation != frame.message.operation) return "a part of a reply to another operation";
  return call->handler->receivePart(std::move(frame.message));
}

XPCViolation XPCConnection::receiveReply(IncomingFrame& frame) {
  auto call = outgoing_.take(frame.id);
  if (!call) return fmt::format("a reply to call {}, which awaits none", frame.id);
  if (call->operation != frame.message.operation) return "a reply to another operation";
  return call->handler->receiveReply(std::move(frame.message));
}

XPCViolation XPCConnection::receiveProgress(const IncomingFrame& frame) {
  auto counts = decodeProgress(frame.message);
  if (!counts) return counts.error();
  auto call = outgoing_.find(frame.id);
  if (call && call->progress) {
    call->progress->setTotalUnitCount(counts->total);
    call->progress->setCompletedUnitCount(counts->completed);
    return std::nullopt;
  }
  // The work's last words may cross the reply.
  if (call || !outgoing_.wasIssued(frame.id))
    return fmt::format("a progress for call {}, which has none", frame.id);
  return std::nullopt;
}

XPCViolation XPCConnection::receiveCancel(const IncomingFrame& frame) {
  if (!frame.message.body.empty() || !frame.message.descriptors.empty()) return "a cancel with a body";
  // A cancel may cross the reply.
  if (auto progress = incoming_.progress(frame.id)) progress->cancel();
  return std::nullopt;
}

}  // namespace zelto
