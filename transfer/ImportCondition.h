#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace zelto {

// What the import walk waits on for one entry. It remembers nothing: a signal given before the wait has begun
// is lost, and the wait then never ends. Waking up without a signal ends no wait.
class ImportCondition {
 public:
  // Counts itself in `waits` at the moment from which on a signal is heard.
  // BLOCKS: until the next signal.
  void wait(std::atomic<std::uint64_t>& waits) {
    std::unique_lock lock(mutex_);
    const auto before = signals_;
    waits.fetch_add(1);
    waits.notify_all();
    signalled_.wait(lock, [this, before] { return signals_ != before; });
  }

  // THREAD: any.
  void signal() {
    const std::lock_guard lock(mutex_);
    ++signals_;
    signalled_.notify_one();
  }

 private:
  std::mutex mutex_;
  std::condition_variable signalled_;
  std::uint64_t signals_ = 0;
};

}  // namespace zelto
