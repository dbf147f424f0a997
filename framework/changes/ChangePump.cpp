#include "framework/changes/ChangePump.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace zelto {
namespace {

constexpr std::chrono::milliseconds kLongestPatience = std::chrono::seconds(30);

}  // namespace

class ChangePump::Observer final : public NSFileProviderChangeObserver {
 public:
  Observer(ChangePump& pump, std::uint64_t run)
      : pump_(pump), run_(run), asked_{pump.replica_.settledSoFar()} {}

  void didUpdateItems(const std::vector<NSFileProviderItemPtr>& items) override {
    updates_.insert(updates_.end(), items.begin(), items.end());
  }
  void didDeleteItemsWithIdentifiers(const std::vector<std::string>& identifiers) override {
    deletions_.insert(deletions_.end(), identifiers.begin(), identifiers.end());
  }
  void finishEnumeratingChangesUpToSyncAnchor(const NSFileProviderSyncAnchor&, bool moreComing) override {
    // Applied on the pump's queue: the thread that delivers replies has others to deliver.
    pump_.queue_.async([&pump = pump_, run = run_, asked = asked_, moreComing, updates = std::move(updates_),
                        deletions = std::move(deletions_)] {
      // Also a late answer of a host lost since: it brings what has changed.
      pump.apply(updates, deletions, asked);
      if (moreComing) pump.signal();
      pump.finish(run);
    });
  }
  void finishEnumeratingWithError(const NSError&) override {
    pump_.queue_.async([&pump = pump_, run = run_] { pump.finish(run); });
  }

 private:
  ChangePump& pump_;
  const std::uint64_t run_;
  const Asked asked_;
  std::vector<NSFileProviderItemPtr> updates_;
  std::vector<std::string> deletions_;
};

ChangePump::ChangePump(NSFileProviderPrincipal& extension, Replica& replica, Deadlines& deadlines,
                       std::chrono::milliseconds patience, DeltaHandler changed)
    : extension_(extension),
      replica_(replica),
      deadlines_(deadlines),
      firstPatience_(patience),
      changed_(std::move(changed)),
      patience_(patience),
      queue_("it.pellam.Zelto.FileProvider.changes") {}

ChangePump::~ChangePump() { deadlines_.cancel(retry_); }

void ChangePump::signal(std::move_only_function<void()> then) {
  {
    const std::lock_guard lock(mutex_);
    if (then) waiting_.push_back(std::move(then));
    signalled_ = true;
  }
  queue_.async([this] { start(); });
}

void ChangePump::start() {
  std::uint64_t run = 0;
  {
    const std::lock_guard lock(mutex_);
    if (run_ != 0 || !signalled_) return;
    signalled_ = false;
    run = run_ = nextRun_++;
    std::ranges::move(std::exchange(waiting_, {}), std::back_inserter(running_));
    retry_ = deadlines_.schedule(Deadlines::Clock::now() + patience_,
                                 [this, run] { queue_.async([this, run] { tryAgain(run); }); });
    patience_ = std::min(patience_ * 2, kLongestPatience);
  }
  // To ask again says that the last changes have arrived, and a host forgets them then: they have to be where
  // the end of this process leaves them.
  if (std::exchange(unwritten_, false)) replica_.flush();
  enumerate(run);
}

void ChangePump::tryAgain(std::uint64_t run) {
  {
    const std::lock_guard lock(mutex_);
    if (run_ != run) return;
    run_ = 0;
    signalled_ = true;
  }
  start();
}

void ChangePump::enumerate(std::uint64_t run) {
  std::optional<NSError> error;
  const auto enumerator = extension_.enumeratorForContainerItemIdentifier(
      NSFileProviderWorkingSetContainerItemIdentifier, {}, &error);
  if (!enumerator) return finish(run);
  enumerator->enumerateChangesForObserver(std::make_shared<Observer>(*this, run), {});
}

void ChangePump::apply(const std::vector<NSFileProviderItemPtr>& updates,
                       const std::vector<std::string>& deletions, const Asked& asked) {
  const ReplicaDelta delta = replica_.applyChanges(updates, deletions, asked);
  unwritten_ = unwritten_ || !updates.empty() || !deletions.empty();
  if (!delta.empty()) changed_(delta);
}

void ChangePump::finish(std::uint64_t run) {
  std::vector<std::move_only_function<void()>> done;
  {
    const std::lock_guard lock(mutex_);
    if (run_ != run) return;
    run_ = 0;
    deadlines_.cancel(retry_);
    patience_ = firstPatience_;
    done = std::exchange(running_, {});
  }
  for (auto& then : done) then();
  start();
}

void ChangePump::hostLost() {
  std::vector<std::move_only_function<void()>> dropped;
  const std::lock_guard lock(mutex_);
  run_ = 0;
  signalled_ = false;
  deadlines_.cancel(retry_);
  patience_ = firstPatience_;
  dropped = std::exchange(running_, {});
}

}  // namespace zelto
