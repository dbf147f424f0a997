#include "platform/foundation/DispatchQueue.h"

#include <condition_variable>
#include <deque>
#include <latch>
#include <mutex>
#include <thread>
#include <utility>

#include <pthread.h>

namespace zelto {
namespace {

constexpr std::size_t kLongestThreadName = 15;

}  // namespace

// Shared with the thread, which may outlive the queue object.
struct DispatchQueue::State {
  std::mutex mutex;
  std::condition_variable changed;
  std::deque<std::move_only_function<void()>> tasks;
  bool closed = false;
  bool isMain = false;  // served by a thread that is not the queue's
  std::thread thread;

  // Until the queue is closed, or an empty task comes.
  void run() {
    while (auto task = next()) task();
  }

  // BLOCKS: until there is a task; an empty function once the queue is closed and has no more.
  std::move_only_function<void()> next() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return closed || !tasks.empty(); });
    if (tasks.empty()) return {};
    auto task = std::move(tasks.front());
    tasks.pop_front();
    return task;
  }
};

DispatchQueue& DispatchQueue::mainQueue() {
  static auto* const queue = [] {
    auto* const made = new DispatchQueue("main");
    made->state_->isMain = true;
    return made;
  }();
  return *queue;
}

void DispatchQueue::serveMainQueue() { mainQueue().state_->run(); }

DispatchQueue::DispatchQueue(std::string label)
    : label_(std::move(label)), state_(std::make_shared<State>()) {}

DispatchQueue::~DispatchQueue() {
  std::thread thread;
  {
    const std::scoped_lock lock(state_->mutex);
    state_->closed = true;
    thread = std::move(state_->thread);
  }
  state_->changed.notify_one();
  if (!thread.joinable()) return;
  if (thread.get_id() == std::this_thread::get_id()) {
    thread.detach();
  } else {
    thread.join();
  }
}

void DispatchQueue::async(std::move_only_function<void()> task) {
  const auto state = state_;  // what the task does may be somebody's reason to destroy the queue
  {
    const std::scoped_lock lock(state->mutex);
    state->tasks.push_back(std::move(task));
    if (!state->isMain && !state->thread.joinable()) {
      state->thread = std::thread([state] { state->run(); });
      const std::string name = label_.substr(label_.size() - std::min(label_.size(), kLongestThreadName));
      ::pthread_setname_np(state->thread.native_handle(), name.c_str());
    }
  }
  state->changed.notify_one();
}

void DispatchQueue::drain() {
  {
    const std::scoped_lock lock(state_->mutex);
    if (!state_->thread.joinable()) return;
  }
  // Shared, since the task may still be inside count_down when the wait returns.
  auto done = std::make_shared<std::latch>(1);
  async([done] { done->count_down(); });
  done->wait();
}

}  // namespace zelto
