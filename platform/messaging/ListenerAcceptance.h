#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace zelto {

// Whether a listener has taken a connection in, the delegate's part included. Who hears on another way that
// somebody has connected waits for it: until then nothing can be called through the connection.
// THREAD: any.
class ListenerAcceptance {
 public:
  void accepted() {
    const std::scoped_lock lock(mutex_);
    accepted_ = true;
    changed_.notify_all();
  }
  // BLOCKS: until then, or for so long. False when nothing was taken in by then.
  bool wait(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, limit, [this] { return accepted_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool accepted_ = false;
};

}  // namespace zelto
