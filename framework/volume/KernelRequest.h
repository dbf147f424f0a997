#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "framework/requests/Deadlines.h"
#include "framework/requests/Waiter.h"
#include "framework/volume/FuseLowLevel.h"

namespace zelto {

class KernelRequests;

// A request of the kernel that cannot be answered at once. It is answered exactly once: when what it
// waits for is done, when its deadline passes without progress, or when the caller is interrupted.
// THREAD: any.
class KernelRequest final : public Waiter, public std::enable_shared_from_this<KernelRequest> {
 public:
  // Answers the request, given that the wait ended without an error.
  using Answer = std::move_only_function<void(fuse_req_t)>;

  void done(int error) override;
  void progressed() override;
  bool gaveUp() const override { return answered_.load(std::memory_order_acquire); }

 private:
  friend class KernelRequests;
  KernelRequest(KernelRequests& requests, fuse_req_t request, std::uint64_t id, Answer answer)
      : requests_(requests),
        request_(request),
        id_(id),
        caller_(fuse_req_ctx(request)->pid),
        answer_(std::move(answer)) {}

  void finish(int error);

  KernelRequests& requests_;
  const fuse_req_t request_;
  const std::uint64_t id_;
  const pid_t caller_;
  Answer answer_;
  std::atomic<bool> answered_ = false;
  std::atomic<Deadlines::Clock::rep> lastProgress_ = 0;
  std::atomic<Deadlines::Ticket> deadline_ = 0;
};

// The kernel requests that wait for the host.
class KernelRequests {
 public:
  // `hostPresent` decides what a passed deadline is called: ETIMEDOUT, or EHOSTDOWN with no host.
  KernelRequests(Deadlines& deadlines, std::chrono::milliseconds limit, std::function<bool()> hostPresent);

  // Holds a request; `answer` runs at most once, on the thread that ends the wait.
  std::shared_ptr<KernelRequest> hold(fuse_req_t request, KernelRequest::Answer answer);
  std::size_t inFlight() const;
  // Answers everything that is held, for the end of the volume.
  void failAll(int error);

 private:
  friend class KernelRequest;

  static void interrupted(fuse_req_t request, void* data);
  std::shared_ptr<KernelRequest> find(std::uint64_t id) const;
  // Ends the wait when the caller is asked to end, else looks again after a while: the kernel tells of an
  // interrupt once, whatever signal comes later.
  void lookAtCaller(std::uint64_t id);
  void watch(const std::shared_ptr<KernelRequest>& request, Deadlines::Clock::time_point when);
  void deadlinePassed(const std::shared_ptr<KernelRequest>& request);

  Deadlines& deadlines_;
  const std::chrono::milliseconds limit_;
  const std::function<bool()> hostPresent_;
  mutable std::mutex mutex_;
  std::unordered_map<std::uint64_t, std::shared_ptr<KernelRequest>> held_;
  std::uint64_t next_ = 1;
};

}  // namespace zelto
