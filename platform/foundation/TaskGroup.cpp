#include "platform/foundation/TaskGroup.h"

namespace zelto {

void TaskGroup::enter() {
  const std::scoped_lock lock(mutex_);
  ++underWay_;
}

void TaskGroup::leave() {
  std::vector<Notification> due;
  {
    const std::scoped_lock lock(mutex_);
    if (--underWay_ == 0) due.swap(waiting_);
  }
  for (auto& [queue, task] : due) queue->async(std::move(task));
}

void TaskGroup::notify(DispatchQueue& queue, std::move_only_function<void()> task) {
  {
    const std::scoped_lock lock(mutex_);
    if (underWay_ > 0) {
      waiting_.emplace_back(&queue, std::move(task));
      return;
    }
  }
  queue.async(std::move(task));
}

}  // namespace zelto
