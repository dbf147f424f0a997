#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace zelto {

// A few threads that carry out requests. Long work is done in slices and never holds all the threads, so
// that short requests always find one.
// THREAD: any.
class WorkerPool {
 public:
  using Task = std::move_only_function<void()>;

  // REQUIRES: longThreads < threads.
  WorkerPool(std::size_t threads, std::size_t longThreads);
  ~WorkerPool() { stop(); }
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  // BLOCKS: until the tasks that are running have ended. Those still waiting, and later ones, are dropped.
  void stop();

  void run(Task task);
  // A slice of long work. It may queue its next slice, which then waits behind the others.
  void runLong(Task slice);

 private:
  void queue(std::deque<Task>& queue, Task task);
  void work();
  bool takeLocked(Task& task, bool& isLong);

  const std::size_t longThreads_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<Task> short_;
  std::deque<Task> long_;
  std::size_t longRunning_ = 0;
  bool stopping_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace zelto
