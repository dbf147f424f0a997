#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/foundation/UniqueDescriptor.h"
#include "platform/messaging/Frame.h"

namespace zelto {

// What a connection may hold for a peer that does not read.
struct WriterLimits {
  std::size_t queuedBytes = std::size_t{64} << 20;
  std::size_t joinableBytes = std::size_t{8} << 20;
  std::size_t joinedFrameBytes = std::size_t{256} << 10;
  std::size_t sources = 4096;
};

// Writes frames to a stream socket without ever blocking the caller: the calling thread writes what the
// socket takes, the rest waits for a writer thread, made when it is first needed. Long replies take turns
// with everything else; log lines wait a moment, so that many share a
// frame, and calls and replies overtake them.
// THREAD: any.
class FrameWriter : public std::enable_shared_from_this<FrameWriter> {
 public:
  // `failed` runs at most once, on any thread with no lock held, when the peer reads too little or a
  // source cannot go on.
  FrameWriter(std::shared_ptr<UniqueDescriptor> socket, std::function<void(std::string)> failed,
              WriterLimits limits = {})
      : socket_(std::move(socket)), failed_(std::move(failed)), limits_(limits) {}

  // After close both do nothing.
  void write(OutgoingFrame frame);
  // The parts of a reply: all but the last as parts, the last as the reply.
  void write(std::uint64_t id, std::uint16_t operation, std::unique_ptr<XPCMessageSource> source);

  // Shuts the socket down, for its reader too, and drops what has not been sent.
  void close();
  std::shared_ptr<UniqueDescriptor> socket() const;

  // Calls dropped because the peer did not read.
  std::uint64_t droppedCalls() const;
  std::size_t queuedBytes() const;

 private:
  struct Source {
    std::uint64_t id;
    std::uint16_t operation;
    std::unique_ptr<XPCMessageSource> source;
    std::optional<XPCMessageSource::Part> first;  // taken from the source already
  };
  // What the caller has to do once the lock is released.
  enum class Outcome { done, firstDrop, overflow };

  Outcome submit(OutgoingFrame& frame);
  Outcome submitJoinable(OutgoingFrame& frame);
  bool tryJoin(OutgoingFrame& frame);
  bool sendAll(const OutgoingFrame& frame, std::size_t& sent, int socket);
  void enqueue(OutgoingFrame frame, bool first = false);
  void popFront();
  void wakeWriter();

  void run();
  void linger(std::unique_lock<std::mutex>& lock);
  bool flush(std::unique_lock<std::mutex>& lock);
  bool produce(std::unique_lock<std::mutex>& lock);

  mutable std::mutex mutex_;
  std::condition_variable work_;
  std::shared_ptr<UniqueDescriptor> socket_;  // null once closed
  const std::function<void(std::string)> failed_;
  const WriterLimits limits_;
  std::deque<OutgoingFrame> queue_;
  std::size_t sentOfFront_ = 0;
  std::size_t queuedBytes_ = 0;  // without the joinable ones
  std::size_t joinableBytes_ = 0;
  std::deque<Source> sources_;
  bool lingering_ = false;    // the queue holds log lines only, none of them begun
  bool writerWaits_ = false;  // the writer will look by itself in a moment
  bool threadStarted_ = false;
  bool broken_ = false;  // the peer is gone; the reader will say so
  std::uint64_t dropped_ = 0;
};

}  // namespace zelto
