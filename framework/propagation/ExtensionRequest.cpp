#include "framework/propagation/ExtensionRequest.h"

#include <utility>

namespace zelto {

void ExtensionRequest::expireSoon(std::shared_ptr<ExtensionRequest> request) {
  const auto queue = request->ways_.queue;
  queue->async([request = std::move(request)] { request->expire(); });
}

void ExtensionRequest::follow(const std::shared_ptr<NSProgress>& progress,
                              std::function<void(const NSProgress&)> moved) {
  if (closed_) return;
  progress_ = progress;
  progress->setChangeHandler([weak = weak_from_this(), moved = std::move(moved)](const NSProgress& now) {
    const auto request = weak.lock();
    if (!request) return;
    request->lastMove_ = Deadlines::Clock::now();
    if (moved) moved(now);
  });
  watch(Deadlines::Clock::now() + ways_.patience);
}

void ExtensionRequest::watch(Deadlines::Clock::time_point when) {
  deadline_ = ways_.deadlines.schedule(when, [weak = weak_from_this()] {
    if (const auto request = weak.lock()) request->timePassed();
  });
}

void ExtensionRequest::timePassed() {
  ways_.queue->async([self = shared_from_this()] {
    if (self->closed_) return;
    const auto end = self->lastMove_.load() + self->ways_.patience;
    if (Deadlines::Clock::now() < end) return self->watch(end);
    self->expire();
  });
}

bool ExtensionRequest::close() {
  if (std::exchange(closed_, true)) return false;
  ways_.deadlines.cancel(deadline_);
  unanswered_ = nullptr;
  progress_.reset();
  return true;
}

void ExtensionRequest::expire() {
  auto unanswered = std::move(unanswered_);
  const auto progress = progress_;
  if (!close()) return;
  if (progress) progress->cancel();
  unanswered();
}

void ExtensionRequest::cancel() {
  const auto progress = progress_;
  if (close() && progress) progress->cancel();
}

}  // namespace zelto
