#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

namespace zelto {

// Runs functions at points in time, on a thread of its own that sleeps while nothing is due.
// THREAD: any. Functions run with no lock held and should be short.
class Deadlines {
 public:
  using Clock = std::chrono::steady_clock;
  using Ticket = std::uint64_t;

  Deadlines();
  // What has not run by then never runs.
  ~Deadlines();
  Deadlines(const Deadlines&) = delete;
  Deadlines& operator=(const Deadlines&) = delete;

  Ticket schedule(Clock::time_point when, std::move_only_function<void()> function);
  // Without effect when it runs already or has run.
  void cancel(Ticket ticket);

 private:
  using Key = std::pair<Clock::time_point, Ticket>;

  void run(const std::stop_token& stop);

  std::mutex mutex_;
  std::condition_variable_any changed_;
  std::map<Key, std::move_only_function<void()>> pending_;
  std::map<Ticket, Clock::time_point> times_;
  Clock::time_point wakesAt_ = Clock::time_point::max();
  Ticket next_ = 1;
  std::jthread thread_;
};

}  // namespace zelto
