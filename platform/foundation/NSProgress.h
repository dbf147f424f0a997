#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace zelto {

// Progress of one piece of work, shared by the side that works and the side that waits.
// THREAD: any. Handlers run on the thread that caused them, with no lock held.
class NSProgress : public std::enable_shared_from_this<NSProgress> {
 public:
  static std::shared_ptr<NSProgress> create(std::int64_t totalUnitCount = 0);

  std::int64_t totalUnitCount() const;
  std::int64_t completedUnitCount() const;
  void setTotalUnitCount(std::int64_t count);
  void setCompletedUnitCount(std::int64_t count);
  // Counts further units in one step, so that several threads may do it at once.
  void addCompletedUnitCount(std::int64_t count);
  // Own completed units plus what the children contribute, from 0 to 1; 0 while the total is 0.
  double fractionCompleted() const;
  bool isFinished() const;

  // Marks the work cancelled, once; runs the cancellation handler at most once and cancels the children.
  void cancel();
  bool isCancelled() const;
  // Runs at once when the progress is cancelled already. Replaces an earlier handler that has not run.
  void setCancellationHandler(std::move_only_function<void()> handler);
  // Called after each change of the counts, here or in a child, until the progress is destroyed. At most one
  // handler.
  void setChangeHandler(std::function<void(const NSProgress&)> handler);

  // The child's fraction counts for `pendingUnitCount` of this progress's units. A cancelled parent
  // cancels the child. REQUIRES: the child has no other parent and is no ancestor of this progress.
  void addChild(std::shared_ptr<NSProgress> child, std::int64_t pendingUnitCount);

 private:
  explicit NSProgress(std::int64_t totalUnitCount) : total_(totalUnitCount) {}

  struct Child {
    std::shared_ptr<NSProgress> progress;
    std::int64_t pendingUnitCount;
  };

  // Own completed units and the children's share of the total, and the total.
  std::pair<double, double> progress() const;
  void notifyChanged();

  mutable std::mutex mutex_;
  std::int64_t total_;
  std::int64_t completed_ = 0;
  bool cancelled_ = false;
  std::move_only_function<void()> cancellationHandler_;
  std::shared_ptr<const std::function<void(const NSProgress&)>> changeHandler_;
  std::vector<Child> children_;
  std::weak_ptr<NSProgress> parent_;
};

}  // namespace zelto
