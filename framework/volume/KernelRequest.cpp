#include "framework/volume/KernelRequest.h"

#include <cerrno>
#include <vector>

#include "framework/volume/CallerSignals.h"
#include "framework/volume/Volume.h"

namespace zelto {
namespace {

constexpr std::chrono::milliseconds kNextLook{50};

}  // namespace

void KernelRequest::done(int error) {
  if (answered_.exchange(true, std::memory_order_acq_rel)) return;
  // Waits for an interrupt callback that is running; after this none will run.
  fuse_req_interrupt_func(request_, nullptr, nullptr);
  finish(error);
}

void KernelRequest::finish(int error) {
  requests_.deadlines_.cancel(deadline_.load());
  if (error != 0) {
    fuse_reply_err(request_, error);
  } else {
    answer_(request_);
  }
  answer_ = nullptr;
  const std::lock_guard lock(requests_.mutex_);
  requests_.held_.erase(id_);
}

void KernelRequest::progressed() { lastProgress_.store(Deadlines::Clock::now().time_since_epoch().count()); }

KernelRequests::KernelRequests(Deadlines& deadlines, std::chrono::milliseconds limit,
                               std::function<bool()> hostPresent)
    : deadlines_(deadlines), limit_(limit), hostPresent_(std::move(hostPresent)) {}

std::shared_ptr<KernelRequest> KernelRequests::hold(fuse_req_t request, KernelRequest::Answer answer) {
  std::shared_ptr<KernelRequest> held;
  {
    const std::lock_guard lock(mutex_);
    const std::uint64_t id = next_++;
    held.reset(new KernelRequest(*this, request, id, std::move(answer)));
    held_.emplace(id, held);
  }
  held->progressed();
  watch(held, Deadlines::Clock::now() + limit_);
  // The number travels instead of a pointer: the callback may come when the request is gone.
  fuse_req_interrupt_func(request, &KernelRequests::interrupted, reinterpret_cast<void*>(held->id_));
  return held;
}

void KernelRequests::watch(const std::shared_ptr<KernelRequest>& request, Deadlines::Clock::time_point when) {
  request->deadline_ = deadlines_.schedule(when, [this, weak = std::weak_ptr(request)] {
    if (const auto held = weak.lock()) deadlinePassed(held);
  });
}

void KernelRequests::deadlinePassed(const std::shared_ptr<KernelRequest>& request) {
  const Deadlines::Clock::time_point last{Deadlines::Clock::duration(request->lastProgress_.load())};
  if (last + limit_ > Deadlines::Clock::now()) {
    if (!request->gaveUp()) watch(request, last + limit_);
    return;
  }
  request->done(hostPresent_() ? ETIMEDOUT : EHOSTDOWN);
}

void KernelRequests::interrupted(fuse_req_t request, void* data) {
  // The library calls this with the request's lock held, also from within the registration: the answer
  // comes from another thread.
  auto& requests = static_cast<Volume*>(fuse_req_userdata(request))->kernelRequests();
  requests.deadlines_.schedule(
      Deadlines::Clock::now(),
      [&requests, id = reinterpret_cast<std::uint64_t>(data)] { requests.lookAtCaller(id); });
}

void KernelRequests::lookAtCaller(std::uint64_t id) {
  const auto held = find(id);
  if (!held) return;
  if (isAskedToEnd(held->caller_)) return held->done(EINTR);
  deadlines_.schedule(Deadlines::Clock::now() + kNextLook, [this, id] { lookAtCaller(id); });
}

std::shared_ptr<KernelRequest> KernelRequests::find(std::uint64_t id) const {
  const std::lock_guard lock(mutex_);
  const auto it = held_.find(id);
  return it == held_.end() ? nullptr : it->second;
}

std::size_t KernelRequests::inFlight() const {
  const std::lock_guard lock(mutex_);
  return held_.size();
}

void KernelRequests::failAll(int error) {
  std::vector<std::shared_ptr<KernelRequest>> all;
  {
    const std::lock_guard lock(mutex_);
    for (const auto& [id, request] : held_) all.push_back(request);
  }
  for (const auto& request : all) request->done(error);
}

}  // namespace zelto
