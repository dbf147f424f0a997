#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "hostapp/ServerBackend.h"
#include "hostapp/WorkerPool.h"
#include "platform/foundation/Completion.h"
#include "platform/foundation/NSProgress.h"

namespace zelto {

// Carries out changes of the server that may take long, in slices that take turns with downloads.
// THREAD: any.
class WorkRunner {
 public:
  explicit WorkRunner(WorkerPool* pool) : pool_(pool) {}

  using Result = std::expected<std::optional<BackendEntry>, NSError>;
  struct Request {
    std::string path;                                    // for messages
    std::shared_ptr<NSProgress> progress;                // may be cancelled
    std::shared_ptr<const std::atomic<bool>> abandoned;  // nobody waits for the reply any more
    std::move_only_function<std::expected<std::unique_ptr<BackendWork>, NSError>()> begin;
  };
  // COMPLETES: once, on a thread of the pool, after the work has been destroyed. ERRORS: the server's;
  // cancelled, also for what nobody waits for: it is not begun, or not shown, any more.
  void start(Request request, Completion<Result> completion);

 private:
  WorkerPool* const pool_;  // OWNER: the host; outlives the work
};

}  // namespace zelto
