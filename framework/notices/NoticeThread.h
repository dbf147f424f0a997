#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

#include "framework/notices/ExpectedNotice.h"

namespace zelto {

// Performs notices by system calls in the mount, one round at a time, on a thread of its own that is made at
// the first need. That thread has a table of descriptors of its own, without the volume's: a killed process
// whose thread waits for an answer of that same process would never end, since the kernel gives the wait up
// only when nobody holds the volume's descriptor any more. So nothing but system calls runs on it; above all
// nothing that uses descriptors of the process, as the replica does. THREAD: any.
class NoticeThread {
 public:
  // `finished` runs on the thread after each round: it may do no more than wake somebody.
  NoticeThread(ExpectedNotice& expected, std::function<void()> finished)
      : expected_(expected), finished_(std::move(finished)) {}
  ~NoticeThread();
  NoticeThread(const NoticeThread&) = delete;
  NoticeThread& operator=(const NoticeThread&) = delete;

  bool busy() const;
  // Begins a round. REQUIRES: not busy.
  void perform(NoticeRound round);
  // BLOCKS: until no round is under way, or for that long.
  void waitUntilIdle(std::chrono::milliseconds limit);
  // Begins no further system call. `then` runs once none is under way: at once, or on the thread.
  void stop(std::function<void()> then);

 private:
  struct Folders {
    int folder;
    int from;
  };

  void run();
  std::optional<NoticeRound> next();
  void endRound();
  void performRound(const NoticeRound& round);
  void performIn(const Folders& folders, const NoticeRound& round);
  bool isOurs(int descriptor, Inode folder);
  void tell(const Folders& folders, const Notice& notice);
  void move(const Folders& folders, const Notice& notice);
  void raise(const Folders& folders, const Notice& notice);

  ExpectedNotice& expected_;
  const std::function<void()> finished_;
  std::atomic<bool> stopped_ = false;
  mutable std::mutex mutex_;  // guards what is below
  std::condition_variable changed_;
  std::optional<NoticeRound> waiting_;
  bool busy_ = false;
  std::vector<std::function<void()>> whenStopped_;
  std::thread thread_;
};

}  // namespace zelto
