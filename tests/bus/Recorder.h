#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace zelto::test {

// Collects values from other threads for a test that waits until enough are there.
template <typename Value>
class Recorder {
 public:
  void add(Value value) {
    const std::lock_guard lock(mutex_);
    values_.push_back(std::move(value));
    changed_.notify_all();
  }
  // What is there once `count` values are, or after ten seconds.
  std::vector<Value> waitFor(std::size_t count) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(10), [&] { return values_.size() >= count; });
    return values_;
  }
  std::size_t count() {
    const std::lock_guard lock(mutex_);
    return values_.size();
  }
  // True once the value is among those there, false after ten seconds.
  bool waitUntil(const Value& value) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(10),
                             [&] { return std::ranges::find(values_, value) != values_.end(); });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Value> values_;
};

}  // namespace zelto::test
