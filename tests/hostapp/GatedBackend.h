#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "tests/hostapp/ForwardingBackend.h"

namespace zelto::test {

// A backend whose uploads and removals stop at a gate before each step until the test lets them through.
class GatedBackend : public ForwardingBackend {
 public:
  using ForwardingBackend::ForwardingBackend;

  std::expected<std::unique_ptr<BackendWork>, NSError> upload(const UploadRequest& request) override {
    auto work = inner_->upload(request);
    if (!work) return work;
    return std::make_unique<GatedWork>(std::move(*work), gate_);
  }

  std::expected<std::unique_ptr<BackendWork>, NSError> remove(const std::string& path) override {
    auto work = inner_->remove(path);
    if (!work) return work;
    return std::make_unique<GatedWork>(std::move(*work), gate_);
  }

  // BLOCKS: until work waits at the gate.
  void awaitArrival() { gate_->awaitArrival(); }
  void let(int steps) { gate_->let(steps); }
  void open() { gate_->let(1'000'000); }

 private:
  class Gate {
   public:
    void pass() {
      std::unique_lock lock(mutex_);
      ++waiting_;
      changed_.notify_all();
      changed_.wait(lock, [this] { return steps_ > 0; });
      --waiting_;
      --steps_;
    }
    void awaitArrival() {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] { return waiting_ > 0 && steps_ == 0; });
    }
    void let(int steps) {
      const std::lock_guard lock(mutex_);
      steps_ += steps;
      changed_.notify_all();
    }

   private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int waiting_ = 0;
    int steps_ = 0;
  };

  class GatedWork : public BackendWork {
   public:
    GatedWork(std::unique_ptr<BackendWork> inner, std::shared_ptr<Gate> gate)
        : inner_(std::move(inner)), gate_(std::move(gate)) {}
    std::expected<bool, NSError> step() override {
      gate_->pass();
      return inner_->step();
    }
    Amount amount() const override { return inner_->amount(); }
    std::optional<BackendEntry> result() const override { return inner_->result(); }

   private:
    const std::unique_ptr<BackendWork> inner_;
    const std::shared_ptr<Gate> gate_;
  };

  const std::shared_ptr<Gate> gate_ = std::make_shared<Gate>();
};

}  // namespace zelto::test
