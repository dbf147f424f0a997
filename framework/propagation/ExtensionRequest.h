#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include <unistd.h>

#include "framework/requests/Deadlines.h"
#include "platform/foundation/Completion.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/foundation/NSProgress.h"
#include "platform/foundation/NSURL.h"

namespace zelto {

// One request to the extension, which may never be answered. It ends once, on a queue, with whatever is
// first: the answer; `patience` without answer or progress; the handler being dropped, as it is where there
// is no host; `cancel`. What a later answer delivers is removed. THREAD: `follow` on the queue; `handler`'s
// result is called or dropped anywhere.
class ExtensionRequest : public std::enable_shared_from_this<ExtensionRequest> {
 public:
  struct Ways {
    Deadlines& deadlines;
    std::shared_ptr<DispatchQueue> queue;
    std::chrono::milliseconds patience;
  };

  // `unanswered` runs in place of the handler.
  static std::shared_ptr<ExtensionRequest> make(const Ways& ways,
                                                std::move_only_function<void()> unanswered) {
    return std::shared_ptr<ExtensionRequest>(new ExtensionRequest(ways, std::move(unanswered)));
  }

  // What the extension is to call. Asked for once.
  template <typename... Answer>
  Completion<Answer...> handler(std::type_identity_t<std::move_only_function<void(Answer...)>> then) {
    return [end = std::make_unique<End>(shared_from_this()),
            then = std::move(then)](Answer... answer) mutable {
      const auto request = end->answered();
      if (!request) return;
      request->ways_.queue->async([request, then = std::move(then), ... held = std::move(answer)]() mutable {
        if (!request->close()) return (removeDelivered(held), ...);
        then(std::move(held)...);
      });
    };
  }

  // Takes the progress that the extension returned for this request; each step of it is told.
  void follow(const std::shared_ptr<NSProgress>& progress, std::function<void(const NSProgress&)> moved = {});
  // Ends it without a word. THREAD: the queue.
  void cancel();

 private:
  // Notices when the handler goes without having been called.
  class End {
   public:
    explicit End(std::shared_ptr<ExtensionRequest> request) : request_(std::move(request)) {}
    End(const End&) = delete;
    End& operator=(const End&) = delete;
    ~End() {
      if (request_) expireSoon(std::move(request_));
    }
    std::shared_ptr<ExtensionRequest> answered() { return std::exchange(request_, nullptr); }

   private:
    std::shared_ptr<ExtensionRequest> request_;
  };

  ExtensionRequest(const Ways& ways, std::move_only_function<void()> unanswered)
      : ways_(ways), unanswered_(std::move(unanswered)), lastMove_(Deadlines::Clock::now()) {}

  template <typename Value>
  static void removeDelivered(const Value& value) {
    if constexpr (std::is_same_v<Value, std::optional<NSURL>>) {
      if (value) ::unlink(value->path().c_str());
    }
  }
  static void expireSoon(std::shared_ptr<ExtensionRequest> request);

  // True for the first end.
  bool close();
  void watch(Deadlines::Clock::time_point when);
  void timePassed();
  void expire();

  const Ways ways_;
  std::move_only_function<void()> unanswered_;  // used on the queue alone, as are the next two
  std::shared_ptr<NSProgress> progress_;
  bool closed_ = false;
  std::atomic<Deadlines::Clock::time_point> lastMove_;
  std::atomic<Deadlines::Ticket> deadline_ = 0;
};

}  // namespace zelto
