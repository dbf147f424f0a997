#pragma once

#include <functional>
#include <memory>
#include <string>

namespace zelto {

// A serial queue with a thread of its own, made on the first task. The label is also the thread's name
// (its last 15 bytes where it is longer).
// THREAD: any may call async; tasks run one after the other in the order given.
class DispatchQueue {
 public:
  // The queue of the process's first thread. It has no thread of its own: its tasks run while that thread is
  // in `serveMainQueue`, and wait until then.
  static DispatchQueue& mainQueue();
  // Runs the main queue's tasks. BLOCKS: until it comes to a `leaveMainQueue`. THREAD: the first.
  static void serveMainQueue();
  // Has `serveMainQueue` return after the tasks queued so far.
  static void leaveMainQueue() { mainQueue().async(nullptr); }

  explicit DispatchQueue(std::string label);
  // Runs the tasks already queued, then joins the thread. Called from one of its own tasks, it lets the
  // thread finish the queued tasks by itself instead.
  ~DispatchQueue();
  DispatchQueue(const DispatchQueue&) = delete;
  DispatchQueue& operator=(const DispatchQueue&) = delete;

  const std::string& label() const { return label_; }
  void async(std::move_only_function<void()> task);
  // BLOCKS: until every task queued before the call has run. REQUIRES: not called from one of its tasks; not
  // the main queue.
  void drain();

 private:
  struct State;

  std::string label_;
  std::shared_ptr<State> state_;
};

}  // namespace zelto
