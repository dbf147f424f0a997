#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace zelto {

// How often each operation was asked for, how many bytes of content were handed over, and how many thumbnails
// are being made.
// THREAD: any.
class CallCounters {
 public:
  void count(const std::string& operation) {
    const std::lock_guard lock(mutex_);
    ++calls_[operation];
  }
  void thumbnailBegun() {
    const std::lock_guard lock(mutex_);
    thumbnails_.most = std::max(thumbnails_.most, ++thumbnails_.now);
  }
  void thumbnailEnded() {
    const std::lock_guard lock(mutex_);
    --thumbnails_.now;
  }
  void addBytes(std::uint64_t bytes) { bytes_.fetch_add(bytes, std::memory_order_relaxed); }

  std::map<std::string, std::uint64_t> calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
  }
  struct AtOnce {
    std::uint64_t now = 0;
    std::uint64_t most = 0;  // since the start
  };
  AtOnce thumbnails() const {
    const std::lock_guard lock(mutex_);
    return thumbnails_;
  }
  std::uint64_t bytes() const { return bytes_.load(std::memory_order_relaxed); }

 private:
  mutable std::mutex mutex_;
  std::map<std::string, std::uint64_t> calls_;
  AtOnce thumbnails_;
  std::atomic<std::uint64_t> bytes_ = 0;
};

}  // namespace zelto
