#include "platform/messaging/FrameWriter.h"

#include <cerrno>
#include <chrono>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include <fmt/format.h>
#include <poll.h>
#include <sys/socket.h>

#include "platform/messaging/DescriptorSocket.h"
#include "platform/messaging/Diagnostics.h"

namespace zelto {

namespace {

// How long a log line waits for others to share a frame with.
constexpr std::chrono::milliseconds kLinger{5};

FrameHeader headerOf(const OutgoingFrame& frame) {
  return {.kind = frame.kind,
          .id = frame.id,
          .bodyLength = static_cast<std::uint32_t>(frame.bodySize()),
          .operation = frame.message.operation,
          .descriptors = static_cast<std::uint16_t>(frame.message.descriptors.size())};
}

// One attempt, from byte `sent` of the frame on.
ssize_t sendFrom(int socket, const OutgoingFrame& frame, std::size_t sent) {
  auto header = encodeFrameHeader(headerOf(frame));
  auto body = std::as_bytes(std::span(frame.message.body));
  iovec pieces[2];
  std::size_t count = 0;
  auto add = [&](std::span<const std::byte> bytes) {
    if (!bytes.empty()) pieces[count++] = {const_cast<std::byte*>(bytes.data()), bytes.size()};
  };
  if (sent < header.size()) add(std::span<const std::byte>(header).subspan(sent));
  add(body.subspan(sent > header.size() ? sent - header.size() : 0));
  auto descriptors = sent == 0 ? std::span<const UniqueDescriptor>(frame.message.descriptors)
                               : std::span<const UniqueDescriptor>();
  return sendNow(socket, std::span(pieces, count), descriptors);
}

}  // namespace

// True when the whole frame is out or no more can be sent to this peer at all.
bool FrameWriter::sendAll(const OutgoingFrame& frame, std::size_t& sent, int socket) {
  while (sent < frame.size()) {
    ssize_t count = sendFrom(socket, frame, sent);
    if (count == -EAGAIN) return false;
    if (count < 0) {
      // Wakes the reader, which reads what the peer still sent and then sees the end.
      broken_ = true;
      ::shutdown(socket, SHUT_RDWR);
      return true;
    }
    sent += static_cast<std::size_t>(count);
  }
  return true;
}

void FrameWriter::write(OutgoingFrame frame) {
  Outcome outcome = submit(frame);
  if (outcome == Outcome::firstDrop)
    printDiagnostic("the peer of a connection does not read: log lines for it are dropped");
  if (outcome == Outcome::overflow)
    failed_(fmt::format("the peer does not read and over {} MiB wait for it", limits_.queuedBytes >> 20));
}

FrameWriter::Outcome FrameWriter::submit(OutgoingFrame& frame) {
  std::scoped_lock lock(mutex_);
  if (!socket_ || broken_) return Outcome::done;
  if (frame.joinable) return submitJoinable(frame);
  // Log lines that linger stay behind: what somebody waits for goes first.
  std::size_t sent = 0;
  const bool idle = queue_.empty() || lingering_;
  if (idle && sendAll(frame, sent, socket_->get())) return Outcome::done;
  if (queuedBytes_ + frame.size() > limits_.queuedBytes) return Outcome::overflow;
  if (idle) sentOfFront_ = sent;
  enqueue(std::move(frame), idle);
  lingering_ = false;
  wakeWriter();
  return Outcome::done;
}

// Waits a moment for more of its kind.
FrameWriter::Outcome FrameWriter::submitJoinable(OutgoingFrame& frame) {
  if (joinableBytes_ + frame.size() > limits_.joinableBytes)
    return dropped_++ == 0 ? Outcome::firstDrop : Outcome::done;
  if (queue_.empty()) {
    lingering_ = true;
    sentOfFront_ = 0;
  }
  if (!tryJoin(frame)) enqueue(std::move(frame));
  if (!writerWaits_) wakeWriter();
  return Outcome::done;
}

bool FrameWriter::tryJoin(OutgoingFrame& frame) {
  // The front may be half written, unless it lingers.
  if (queue_.empty() || (queue_.size() < 2 && !lingering_)) return false;
  OutgoingFrame& last = queue_.back();
  if (!last.joinable || last.message.operation != frame.message.operation ||
      last.bodySize() + frame.bodySize() > limits_.joinedFrameBytes)
    return false;
  last.message.body.insert(last.message.body.end(), frame.message.body.begin(), frame.message.body.end());
  joinableBytes_ += frame.bodySize();
  return true;
}

void FrameWriter::enqueue(OutgoingFrame frame, bool first) {
  (frame.joinable ? joinableBytes_ : queuedBytes_) += frame.size();
  if (first) {
    queue_.push_front(std::move(frame));
  } else {
    queue_.push_back(std::move(frame));
  }
}

void FrameWriter::popFront() {
  OutgoingFrame& front = queue_.front();
  (front.joinable ? joinableBytes_ : queuedBytes_) -= front.size();
  queue_.pop_front();
  sentOfFront_ = 0;
}

void FrameWriter::write(std::uint64_t id, std::uint16_t operation, std::unique_ptr<XPCMessageSource> source) {
  // Encoded by the caller; most replies have one part, and need no other thread.
  auto first = source->nextPart();
  if (!first) return failed_("a reply could not be encoded");
  first->message.operation = operation;
  if (first->last) {
    return write(
        {.kind = FrameKind::reply, .id = id, .message = std::move(first->message), .joinable = false});
  }
  bool overflow = false;
  {
    std::scoped_lock lock(mutex_);
    if (!socket_ || broken_) return;
    overflow = sources_.size() >= limits_.sources;
    if (!overflow) {
      sources_.push_back({id, operation, std::move(source), std::move(first)});
      wakeWriter();
    }
  }
  if (overflow) failed_(fmt::format("the peer does not read and {} lists wait for it", limits_.sources));
}

void FrameWriter::wakeWriter() {
  if (threadStarted_) return work_.notify_one();
  try {
    std::thread([self = shared_from_this()] { self->run(); }).detach();
    threadStarted_ = true;
  } catch (const std::system_error&) {
    // Without a thread nothing more can be sent; the peer sees the end of the stream.
    broken_ = true;
    ::shutdown(socket_->get(), SHUT_RDWR);
  }
}

void FrameWriter::run() {
  nameThisThread("xpc.writer");
  std::unique_lock lock(mutex_);
  while (true) {
    work_.wait(lock, [this] { return !socket_ || broken_ || !queue_.empty() || !sources_.empty(); });
    if (lingering_) linger(lock);
    if (!socket_ || broken_ || !flush(lock)) return;
    if (!sources_.empty() && !produce(lock)) return;
  }
}

void FrameWriter::linger(std::unique_lock<std::mutex>& lock) {
  writerWaits_ = true;
  work_.wait_for(lock, kLinger, [this] { return !socket_ || broken_ || !sources_.empty(); });
  writerWaits_ = false;
  lingering_ = false;
}

// Sends what is queued. False when the connection is over.
bool FrameWriter::flush(std::unique_lock<std::mutex>& lock) {
  while (!queue_.empty()) {
    auto socket = socket_;
    if (!socket) return false;
    bool complete = sendAll(queue_.front(), sentOfFront_, socket->get());
    if (broken_) return false;
    if (complete) {
      popFront();
      continue;
    }
    lock.unlock();
    pollfd waiting{.fd = socket->get(), .events = POLLOUT, .revents = 0};
    ::poll(&waiting, 1, -1);
    lock.lock();
  }
  return socket_ != nullptr;
}

// Queues one part of the reply whose turn it is. False when the connection is over.
bool FrameWriter::produce(std::unique_lock<std::mutex>& lock) {
  Source turn = std::move(sources_.front());
  sources_.pop_front();
  lock.unlock();
  auto part = turn.first ? std::exchange(turn.first, std::nullopt) : turn.source->nextPart();
  bool last = part && part->last;
  if (last) turn.source.reset();
  if (!part) failed_("a reply could not be encoded to its end");
  lock.lock();
  if (!part || !socket_) {
    // What is left of the reply is destroyed without the lock.
    lock.unlock();
    turn.source.reset();
    lock.lock();
    return false;
  }
  part->message.operation = turn.operation;
  enqueue({.kind = last ? FrameKind::reply : FrameKind::part,
           .id = turn.id,
           .message = std::move(part->message),
           .joinable = false});
  if (!last) sources_.push_back(std::move(turn));
  return true;
}

void FrameWriter::close() {
  std::deque<OutgoingFrame> queue;
  std::deque<Source> sources;
  std::shared_ptr<UniqueDescriptor> socket;
  {
    std::scoped_lock lock(mutex_);
    queue.swap(queue_);
    sources.swap(sources_);
    socket.swap(socket_);
    sentOfFront_ = 0;
    queuedBytes_ = 0;
    joinableBytes_ = 0;
    if (socket) ::shutdown(socket->get(), SHUT_RDWR);
    work_.notify_all();
  }
}

std::shared_ptr<UniqueDescriptor> FrameWriter::socket() const {
  std::scoped_lock lock(mutex_);
  return socket_;
}

std::uint64_t FrameWriter::droppedCalls() const {
  std::scoped_lock lock(mutex_);
  return dropped_;
}

std::size_t FrameWriter::queuedBytes() const {
  std::scoped_lock lock(mutex_);
  return queuedBytes_ + joinableBytes_;
}

}  // namespace zelto
