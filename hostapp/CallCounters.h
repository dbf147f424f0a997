#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace zelto {

// How often each operation was asked for, and how many bytes of content were handed over.
// THREAD: any.
class CallCounters {
 public:
  void count(const std::string& operation) {
    const std::lock_guard lock(mutex_);
    ++calls_[operation];
  }
  void addBytes(std::uint64_t bytes) { bytes_.fetch_add(bytes, std::memory_order_relaxed); }

  std::map<std::string, std::uint64_t> calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
  }
  std::uint64_t bytes() const { return bytes_.load(std::memory_order_relaxed); }

 private:
  mutable std::mutex mutex_;
  std::map<std::string, std::uint64_t> calls_;
  std::atomic<std::uint64_t> bytes_ = 0;
};

}  // namespace zelto
