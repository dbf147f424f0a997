#pragma once

#include <atomic>
#include <mutex>
#include <optional>

#include <sys/types.h>

#include "framework/notices/Notice.h"

namespace zelto {

// What the notices' thread is doing just now. A request of the kernel is part of it when it comes from that
// thread, by the number that the kernel gives; nobody else can pass for it.
// THREAD: any.
class ExpectedNotice {
 public:
  // The name that `hello` looks for; there is never such an item.
  static constexpr const char* kHelloName = ".zelto-notice";

  void setThread(pid_t thread) { thread_.store(thread, std::memory_order_relaxed); }
  bool isFrom(pid_t thread) const { return thread != 0 && thread == thread_.load(std::memory_order_relaxed); }

  void begin(const Notice& notice) {
    const std::lock_guard lock(mutex_);
    current_ = notice;
    met_ = false;
  }
  // True when the volume has met it.
  bool end() {
    const std::lock_guard lock(mutex_);
    current_.reset();
    return met_;
  }
  std::optional<Notice> current() const {
    const std::lock_guard lock(mutex_);
    return current_;
  }
  // The volume was asked for the greeting, or for what goes.
  void meet() {
    const std::lock_guard lock(mutex_);
    met_ = true;
  }
  bool isMet() const {
    const std::lock_guard lock(mutex_);
    return met_;
  }

 private:
  std::atomic<pid_t> thread_ = 0;
  mutable std::mutex mutex_;
  std::optional<Notice> current_;
  bool met_ = false;
};

}  // namespace zelto
