#pragma once

#include <memory>
#include <mutex>
#include <utility>

namespace zelto {

// A shared pointer that several threads read and replace. The lock is never held while anything else
// runs, a replaced value's destructor included.
template <typename T>
class SharedValue {
 public:
  std::shared_ptr<T> get() const {
    const std::lock_guard lock(mutex_);
    return value_;
  }

  void set(std::shared_ptr<T> value) {
    const std::lock_guard lock(mutex_);
    value_.swap(value);
  }

  // The present value; where there is none, null, and `placeholder` becomes the value.
  std::shared_ptr<T> getOrPut(std::shared_ptr<T> placeholder) {
    const std::lock_guard lock(mutex_);
    if (value_) return value_;
    value_ = std::move(placeholder);
    return nullptr;
  }

 private:
  mutable std::mutex mutex_;
  std::shared_ptr<T> value_;
};

}  // namespace zelto
