#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <tuple>

#include "platform/foundation/Completion.h"

namespace zelto {

// The answer to one request, for a thread that waits for it. THREAD: `handler`'s result is called or dropped
// anywhere, also after the end of this object; the rest belongs to the one who waits.
template <typename... Answer>
class AwaitedAnswer {
 public:
  enum class State : std::uint8_t { awaited, answered, dropped };

  // What is to be called. Asked for once.
  Completion<Answer...> handler() {
    return [end = std::make_unique<End>(shared_)](Answer... answer) {
      end->shared->end(State::answered, std::tuple<Answer...>(std::move(answer)...));
    };
  }
  // BLOCKS: until the request has ended, at most so long.
  State wait(std::chrono::milliseconds limit) {
    std::unique_lock lock(shared_->mutex);
    shared_->ended.wait_for(lock, limit, [this] { return shared_->state != State::awaited; });
    return shared_->state;
  }
  // REQUIRES: answered, and not taken before.
  std::tuple<Answer...> take() {
    const std::lock_guard lock(shared_->mutex);
    return *std::move(shared_->answer);
  }

 private:
  struct Shared {
    void end(State how, std::optional<std::tuple<Answer...>> what) {
      const std::lock_guard lock(mutex);
      if (state != State::awaited) return;
      state = how;
      answer = std::move(what);
      ended.notify_all();
    }

    std::mutex mutex;
    std::condition_variable ended;
    State state = State::awaited;
    std::optional<std::tuple<Answer...>> answer;
  };
  // Notices when the handler goes without having been called.
  struct End {
    explicit End(std::shared_ptr<Shared> awaiting) : shared(std::move(awaiting)) {}
    ~End() { shared->end(State::dropped, std::nullopt); }
    End(const End&) = delete;
    End& operator=(const End&) = delete;

    const std::shared_ptr<Shared> shared;
  };

  const std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
};

}  // namespace zelto
