#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/foundation/DispatchQueue.h"

namespace zelto {

// Counts the pieces of work that are under way, and queues what is to run when there are none. A group that
// is destroyed before that drops what waits. THREAD: any.
class TaskGroup {
 public:
  TaskGroup() = default;
  TaskGroup(const TaskGroup&) = delete;
  TaskGroup& operator=(const TaskGroup&) = delete;

  void enter();
  // REQUIRES: an `enter` that has not been left yet.
  void leave();
  // Queues the task when nothing is under way any more; at once where nothing is. REQUIRES: the queue lives
  // until then.
  void notify(DispatchQueue& queue, std::move_only_function<void()> task);

 private:
  using Notification = std::pair<DispatchQueue*, std::move_only_function<void()>>;

  std::mutex mutex_;
  std::int64_t underWay_ = 0;
  std::vector<Notification> waiting_;
};

}  // namespace zelto
