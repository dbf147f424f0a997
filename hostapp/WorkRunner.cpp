#include "hostapp/WorkRunner.h"

#include <chrono>

#include "hostapp/BackendErrors.h"

namespace zelto {

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kSlice{50};

class WorkJob : public std::enable_shared_from_this<WorkJob> {
 public:
  WorkJob(WorkerPool* pool, WorkRunner::Request request, Completion<WorkRunner::Result> completion)
      : pool_(pool), request_(std::move(request)), completion_(std::move(completion)) {}

  void queue() {
    pool_->runLong([job = shared_from_this()] { job->runSlice(); });
  }

 private:
  void runSlice() {
    if (!work_) {
      if (isOver()) return end(std::unexpected(cancelledError(request_.path)));
      auto begun = request_.begin();
      if (!begun) return end(std::unexpected(begun.error()));
      work_ = std::move(*begun);
      tellTotal();
    }
    const auto until = Clock::now() + kSlice;
    do {
      if (isOver() && work_->canBeCancelled()) return end(std::unexpected(cancelledError(request_.path)));
      const auto done = work_->step();
      if (!done) return end(std::unexpected(done.error()));
      tellProgress();
      if (*done) return end(work_->result());
    } while (Clock::now() < until);
    queue();
  }

  bool isOver() const { return request_.progress->isCancelled() || *request_.abandoned; }

  void tellTotal() {
    total_ = work_->amount().total;
    request_.progress->setTotalUnitCount(static_cast<std::int64_t>(total_));
  }

  void tellProgress() {
    const auto amount = work_->amount();
    if (amount.total != total_) tellTotal();
    request_.progress->setCompletedUnitCount(static_cast<std::int64_t>(amount.done));
  }

  void end(WorkRunner::Result result) {
    work_.reset();
    completion_(std::move(result));
  }

  WorkerPool* const pool_;
  WorkRunner::Request request_;
  Completion<WorkRunner::Result> completion_;
  std::unique_ptr<BackendWork> work_;
  std::uint64_t total_ = 0;
};

}  // namespace

void WorkRunner::start(Request request, Completion<Result> completion) {
  std::make_shared<WorkJob>(pool_, std::move(request), std::move(completion))->queue();
}

}  // namespace zelto
