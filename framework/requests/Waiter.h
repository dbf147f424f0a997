#pragma once

#include <functional>
#include <memory>
#include <utility>

namespace zelto {

// Somebody who waits for something that the host has to do, and who may have given up meanwhile.
class Waiter {
 public:
  virtual ~Waiter() = default;
  // Ends the wait: 0 or an errno value. Without effect on one who gave up.
  virtual void done(int error) = 0;
  // There is progress: a deadline starts anew.
  virtual void progressed() {}
  // True once nobody waits any more.
  virtual bool gaveUp() const { return false; }
};

// A waiter without a deadline of its own.
class FunctionWaiter final : public Waiter {
 public:
  explicit FunctionWaiter(std::move_only_function<void(int)> function) : function_(std::move(function)) {}
  void done(int error) override {
    if (function_) std::exchange(function_, nullptr)(error);
  }

 private:
  std::move_only_function<void(int)> function_;
};

using WaiterPtr = std::shared_ptr<Waiter>;

}  // namespace zelto
