#include "framework/requests/Deadlines.h"

#include <pthread.h>

namespace zelto {

Deadlines::Deadlines() : thread_([this](const std::stop_token& stop) { run(stop); }) {
  pthread_setname_np(thread_.native_handle(), "deadlines");
}

Deadlines::~Deadlines() {
  thread_.request_stop();
  thread_.join();
}

Deadlines::Ticket Deadlines::schedule(Clock::time_point when, std::move_only_function<void()> function) {
  bool wake = false;
  Ticket ticket = 0;
  {
    const std::lock_guard lock(mutex_);
    ticket = next_++;
    pending_.emplace(Key(when, ticket), std::move(function));
    times_.emplace(ticket, when);
    // A thread that wakes earlier anyway is left asleep: most deadlines are cancelled long before.
    wake = when < wakesAt_;
    if (wake) wakesAt_ = when;
  }
  if (wake) changed_.notify_one();
  return ticket;
}

void Deadlines::cancel(Ticket ticket) {
  std::move_only_function<void()> dropped;  // destroyed after the lock
  const std::lock_guard lock(mutex_);
  const auto time = times_.find(ticket);
  if (time == times_.end()) return;
  const auto entry = pending_.find(Key(time->second, ticket));
  dropped = std::move(entry->second);
  pending_.erase(entry);
  times_.erase(time);
}

void Deadlines::run(const std::stop_token& stop) {
  std::unique_lock lock(mutex_);
  while (!stop.stop_requested()) {
    if (pending_.empty()) {
      wakesAt_ = Clock::time_point::max();
      // Not for something to be there: what woke it may be cancelled by now, and the next one, due later than
      // that, would leave it asleep.
      changed_.wait(lock, stop, [this] { return wakesAt_ != Clock::time_point::max(); });
      continue;
    }
    const Clock::time_point due = pending_.begin()->first.first;
    if (Clock::now() < due) {
      wakesAt_ = due;
      changed_.wait_until(lock, stop, due, [this, due] { return wakesAt_ < due; });
      continue;
    }
    auto node = pending_.extract(pending_.begin());
    times_.erase(node.key().second);
    lock.unlock();
    node.mapped()();
    node.mapped() = nullptr;
    lock.lock();
  }
}

}  // namespace zelto
