#include "hostapp/WorkerPool.h"

#include <pthread.h>

namespace zelto {

WorkerPool::WorkerPool(std::size_t threads, std::size_t longThreads) : longThreads_(longThreads) {
  for (std::size_t i = 0; i < threads; ++i) threads_.emplace_back([this] { work(); });
}

void WorkerPool::stop() {
  std::deque<Task> dropped;
  std::deque<Task> droppedLong;
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
    dropped.swap(short_);
    droppedLong.swap(long_);
  }
  wake_.notify_all();
  for (auto& thread : threads_) {
    if (thread.joinable()) thread.join();
  }
}

void WorkerPool::run(Task task) { queue(short_, std::move(task)); }

void WorkerPool::runLong(Task slice) { queue(long_, std::move(slice)); }

void WorkerPool::queue(std::deque<Task>& queue, Task task) {
  {
    const std::lock_guard lock(mutex_);
    if (stopping_) return;
    queue.push_back(std::move(task));
  }
  wake_.notify_one();
}

bool WorkerPool::takeLocked(Task& task, bool& isLong) {
  isLong = short_.empty();
  if (isLong && (long_.empty() || longRunning_ >= longThreads_)) return false;
  auto& queue = isLong ? long_ : short_;
  task = std::move(queue.front());
  queue.pop_front();
  longRunning_ += isLong ? 1 : 0;
  return true;
}

void WorkerPool::work() {
  ::pthread_setname_np(::pthread_self(), "host.worker");
  std::unique_lock lock(mutex_);
  for (;;) {
    Task task;
    bool isLong = false;
    wake_.wait(lock, [&] { return stopping_ || takeLocked(task, isLong); });
    if (stopping_) return;
    lock.unlock();
    task();
    task = nullptr;
    lock.lock();
    if (!isLong) continue;
    // A slice that waited for this place may go on, here or elsewhere.
    --longRunning_;
    wake_.notify_one();
  }
}

}  // namespace zelto
