#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "framework/replica/Replica.h"
#include "framework/requests/Deadlines.h"
#include "platform/fileprovider/NSFileProviderReplicatedExtension.h"
#include "platform/foundation/DispatchQueue.h"

namespace zelto {

// Brings the server's changes into the replica: each signal leads to one enumeration of changes, signals
// that come meanwhile to one more.
// THREAD: any; the work is done on a queue of its own.
class ChangePump {
 public:
  using DeltaHandler = std::function<void(const ReplicaDelta&)>;

  // An enumeration that is not answered within `patience` is made again, with twice the patience each
  // time up to half a minute: the extension may not have taken the host's connection yet when the host
  // already signals, and drops what it cannot send.
  ChangePump(NSFileProviderPrincipal& extension, Replica& replica, Deadlines& deadlines,
             std::chrono::milliseconds patience, DeltaHandler changed);
  ~ChangePump();

  // There may be changes. `then` runs on the pump's queue once they are applied; it is dropped when the
  // host is lost before that.
  void signal(std::move_only_function<void()> then = nullptr);
  // BLOCKS: until the work queued so far is done. REQUIRES: not called from the pump's own queue.
  void drain() { queue_.drain(); }
  // The enumeration in flight will not be answered.
  void hostLost();

 private:
  class Observer;

  void start();
  void enumerate(std::uint64_t run);
  void tryAgain(std::uint64_t run);
  void apply(const std::vector<NSFileProviderItemPtr>& updates, const std::vector<std::string>& deletions,
             const Asked& asked);
  void finish(std::uint64_t run);

  NSFileProviderPrincipal& extension_;
  Replica& replica_;
  Deadlines& deadlines_;
  const std::chrono::milliseconds firstPatience_;
  DeltaHandler changed_;
  std::mutex mutex_;
  std::chrono::milliseconds patience_;
  Deadlines::Ticket retry_ = 0;
  std::uint64_t run_ = 0;  // the enumeration in flight, 0 for none
  std::uint64_t nextRun_ = 1;
  bool signalled_ = false;                                // another one is wanted
  std::vector<std::move_only_function<void()>> waiting_;  // for the next enumeration
  std::vector<std::move_only_function<void()>> running_;  // for the one in flight
  bool unwritten_ = false;  // changes were applied since the replica was last flushed; on the queue
  DispatchQueue queue_;
};

}  // namespace zelto
