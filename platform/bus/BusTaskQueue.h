#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "platform/foundation/NSError.h"
#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {

// Work that other threads leave for the bus thread. THREAD: any may post; the bus thread takes.
class BusTaskQueue {
 public:
  using Task = std::move_only_function<void()>;
  enum class Limit {
    bounded,  // refused while too much is waiting
    always,   // answers and clean-up, whose number something else bounds
  };

  BusTaskQueue();

  // Readable when there is something to take. Negative when the system had no descriptor left.
  int wakeDescriptor() const { return wake_.get(); }
  // ERRORS: ENOTCONN once closed, EAGAIN when full. The task is destroyed then.
  std::optional<NSError> post(Task task, Limit limit);
  // Everything posted so far, in order.
  std::vector<Task> take();
  bool empty() const;
  // From now on nothing can be posted. What was left.
  std::vector<Task> close();
  void wake();

 private:
  UniqueDescriptor wake_;
  mutable std::mutex mutex_;
  std::vector<Task> tasks_;
  bool closed_ = false;
};

}  // namespace zelto
