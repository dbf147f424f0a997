#include "platform/foundation/NSProgress.h"

#include <algorithm>

namespace zelto {

std::shared_ptr<NSProgress> NSProgress::create(std::int64_t totalUnitCount) {
  return std::shared_ptr<NSProgress>(new NSProgress(totalUnitCount));
}

std::int64_t NSProgress::totalUnitCount() const {
  const std::scoped_lock lock(mutex_);
  return total_;
}

std::int64_t NSProgress::completedUnitCount() const {
  const std::scoped_lock lock(mutex_);
  return completed_;
}

void NSProgress::setTotalUnitCount(std::int64_t count) {
  {
    const std::scoped_lock lock(mutex_);
    total_ = count;
  }
  notifyChanged();
}

void NSProgress::setCompletedUnitCount(std::int64_t count) {
  {
    const std::scoped_lock lock(mutex_);
    completed_ = count;
  }
  notifyChanged();
}

void NSProgress::addCompletedUnitCount(std::int64_t count) {
  {
    const std::scoped_lock lock(mutex_);
    completed_ += count;
  }
  notifyChanged();
}

std::pair<double, double> NSProgress::progress() const {
  std::vector<Child> children;
  std::pair<double, double> result;
  {
    const std::scoped_lock lock(mutex_);
    children = children_;
    result = {static_cast<double>(completed_), static_cast<double>(total_)};
  }
  for (const auto& child : children) {
    result.first += child.progress->fractionCompleted() * static_cast<double>(child.pendingUnitCount);
  }
  return result;
}

double NSProgress::fractionCompleted() const {
  const auto [completed, total] = progress();
  return total <= 0 ? 0 : std::clamp(completed / total, 0.0, 1.0);
}

bool NSProgress::isFinished() const {
  const auto [completed, total] = progress();
  return total > 0 && completed >= total;
}

void NSProgress::cancel() {
  std::move_only_function<void()> handler;
  std::vector<Child> children;
  {
    const std::scoped_lock lock(mutex_);
    if (std::exchange(cancelled_, true)) return;
    handler = std::exchange(cancellationHandler_, nullptr);
    children = children_;
  }
  if (handler) handler();
  for (const auto& child : children) child.progress->cancel();
}

bool NSProgress::isCancelled() const {
  const std::scoped_lock lock(mutex_);
  return cancelled_;
}

void NSProgress::setCancellationHandler(std::move_only_function<void()> handler) {
  {
    const std::scoped_lock lock(mutex_);
    // The earlier handler is destroyed by the parameter, after the lock.
    if (!cancelled_) return std::swap(cancellationHandler_, handler);
  }
  if (handler) handler();
}

void NSProgress::setChangeHandler(std::function<void(const NSProgress&)> handler) {
  auto shared =
      handler ? std::make_shared<const std::function<void(const NSProgress&)>>(std::move(handler)) : nullptr;
  const std::scoped_lock lock(mutex_);
  std::swap(changeHandler_, shared);
}

void NSProgress::addChild(std::shared_ptr<NSProgress> child, std::int64_t pendingUnitCount) {
  {
    const std::scoped_lock lock(child->mutex_);
    child->parent_ = weak_from_this();
  }
  bool cancelled = false;
  {
    const std::scoped_lock lock(mutex_);
    children_.push_back({child, pendingUnitCount});
    cancelled = cancelled_;
  }
  if (cancelled) child->cancel();
  notifyChanged();
}

void NSProgress::notifyChanged() {
  std::shared_ptr<const std::function<void(const NSProgress&)>> handler;
  std::shared_ptr<NSProgress> parent;
  {
    const std::scoped_lock lock(mutex_);
    handler = changeHandler_;
    parent = parent_.lock();
  }
  if (handler) (*handler)(*this);
  if (parent) parent->notifyChanged();
}

}  // namespace zelto
