#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <stdexcept>

namespace zelto::test {

// What other threads hand to the test, in order.
template <typename T>
class Mailbox {
 public:
  Mailbox() = default;
  // Whoever puts has let go of the lock before the mailbox goes.
  ~Mailbox() { std::scoped_lock lock(mutex_); }
  Mailbox(const Mailbox&) = delete;
  Mailbox& operator=(const Mailbox&) = delete;

  void put(T value) {
    std::scoped_lock lock(mutex_);
    values_.push_back(std::move(value));
    arrived_.notify_all();
  }
  // Fails the test when nothing comes for half a minute.
  T take() {
    std::unique_lock lock(mutex_);
    if (!arrived_.wait_for(lock, std::chrono::seconds(30), [this] { return !values_.empty(); }))
      throw std::runtime_error("nothing has arrived");
    T value = std::move(values_.front());
    values_.pop_front();
    return value;
  }
  bool empty() const {
    std::scoped_lock lock(mutex_);
    return values_.empty();
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<T> values_;
};

}  // namespace zelto::test
