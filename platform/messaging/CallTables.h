#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>

#include "platform/foundation/NSProgress.h"
#include "platform/messaging/Frame.h"
#include "platform/messaging/NSXPCInterface.h"

namespace zelto {

// The calls sent whose reply has not come. Whatever leaves the table is destroyed by the caller, without
// the lock. THREAD: any.
class OutgoingCalls {
 public:
  struct Call {
    std::uint16_t operation = 0;
    std::shared_ptr<XPCReplyHandler> handler;
    std::shared_ptr<NSProgress> progress;  // null for operations without one
  };

  // The new call's id; nothing once the table is closed.
  std::optional<std::uint64_t> add(Call call);
  std::optional<Call> find(std::uint64_t id) const;
  std::optional<Call> take(std::uint64_t id);
  // Whether an id was ever given out.
  bool wasIssued(std::uint64_t id) const;
  // The calls that will never be answered.
  std::unordered_map<std::uint64_t, Call> close();

 private:
  mutable std::mutex mutex_;
  std::unordered_map<std::uint64_t, Call> calls_;
  std::uint64_t lastId_ = 0;
  bool closed_ = false;
};

// The calls received whose reply has not been sent, with the progress that the exported object returned.
// THREAD: any.
class IncomingCalls {
 public:
  // At most 20 updates a second go out for one call, besides the last.
  static constexpr std::chrono::milliseconds kUpdateInterval{50};
  static constexpr std::size_t kMaximum = 100'000;

  // False when the id is in use, nothing when there are too many calls.
  std::optional<bool> add(std::uint64_t id);
  // False when the call is answered already.
  bool attach(std::uint64_t id, std::shared_ptr<NSProgress> progress);
  std::shared_ptr<NSProgress> progress(std::uint64_t id) const;
  // Whether counts of a call are to be sent now; then they count as sent.
  bool isUpdateDue(std::uint64_t id, ProgressCounts counts);
  struct Removed {
    std::optional<ProgressCounts> unsent;  // the progress's last counts, where the peer has not seen them
  };
  // Nothing when the call is not, or no longer, in the table.
  std::optional<Removed> remove(std::uint64_t id);
  void close();

 private:
  struct Call {
    std::shared_ptr<NSProgress> progress;
    ProgressCounts sent;
    std::chrono::steady_clock::time_point sentAt{};
  };

  mutable std::mutex mutex_;
  std::unordered_map<std::uint64_t, Call> calls_;
};

ProgressCounts countsOf(const NSProgress& progress);

}  // namespace zelto
