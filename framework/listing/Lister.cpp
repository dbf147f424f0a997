#include "framework/listing/Lister.h"

#include <algorithm>
#include <cerrno>

#include "framework/requests/Errno.h"

namespace zelto {
namespace {

constexpr std::size_t kFewWaiters = 16;

}  // namespace

// Collects the pages of one listing and takes them into the replica as a whole.
class Lister::Observer final : public NSFileProviderEnumerationObserver {
 public:
  Observer(Lister& lister, Inode folder, std::uint64_t attempt, std::string identifier)
      : lister_(lister),
        folder_(folder),
        attempt_(attempt),
        asked_{lister.replica_.settledSoFar(), std::move(identifier)} {}

  void didEnumerateItems(const std::vector<NSFileProviderItemPtr>& items) override {
    items_.insert(items_.end(), items.begin(), items.end());
  }

  void finishEnumeratingUpToPage(const std::optional<NSFileProviderPage>& nextPage) override {
    if (nextPage) return finish(EOVERFLOW);  // the extension lists in one page
    if (!lister_.isCurrent(folder_, attempt_)) return;
    const bool learnt = lister_.learn(folder_, items_, asked_);
    items_.clear();
    learnt ? finish(0) : lister_.send(folder_, attempt_);
  }

  void finishEnumeratingWithError(const NSError& error) override {
    lister_.failed(folder_, attempt_, asked_.identifier, errnoForError(error));
  }

 private:
  void finish(int error) { lister_.finish(folder_, attempt_, error); }

  Lister& lister_;
  const Inode folder_;
  const std::uint64_t attempt_;
  const Asked asked_;
  std::vector<NSFileProviderItemPtr> items_;
};

Lister::Lister(NSFileProviderPrincipal& extension, Replica& replica, DeltaHandler changed,
               std::function<void(std::size_t)> listed)
    : extension_(extension), replica_(replica), changed_(std::move(changed)), listed_(std::move(listed)) {}

std::vector<WaiterPtr> Lister::Listing::add(WaiterPtr waiter) {
  std::vector<WaiterPtr> gone;
  if (waiters.size() >= std::max(tidyAt, kFewWaiters)) {
    std::vector<WaiterPtr> staying;
    for (auto& each : waiters) (each->gaveUp() ? gone : staying).push_back(std::move(each));
    waiters = std::move(staying);
    tidyAt = 2 * waiters.size();
  }
  waiters.push_back(std::move(waiter));
  return gone;
}

void Lister::list(Inode folder, WaiterPtr waiter) {
  std::uint64_t attempt = 0;
  std::vector<WaiterPtr> gone;  // destroyed after the lock
  {
    const std::lock_guard lock(mutex_);
    Listing& listing = listings_[folder];
    gone = listing.add(std::move(waiter));
    if (listing.attempt == 0 && sending_) attempt = listing.attempt = nextAttempt_++;
  }
  if (attempt != 0) send(folder, attempt);
}

void Lister::listAhead(Inode folder, WaiterPtr waiter) {
  {
    const std::lock_guard lock(mutex_);
    if (!sending_ || listings_.contains(folder)) return;
  }
  list(folder, std::move(waiter));
}

void Lister::send(Inode folder, std::uint64_t attempt) {
  replica_.whenPlaceIsKnown(folder, [this, folder, attempt] { ask(folder, attempt); });
}

void Lister::ask(Inode folder, std::uint64_t attempt) {
  if (!isCurrent(folder, attempt)) return;  // it waited, and the host was lost
  const std::string identifier = replica_.identifier(folder);
  if (identifier.empty()) return finish(folder, attempt, ENOENT);
  std::optional<NSError> error;
  const auto enumerator = extension_.enumeratorForContainerItemIdentifier(identifier, {}, &error);
  if (!enumerator) return finish(folder, attempt, error ? errnoForError(*error) : EIO);
  enumerator->enumerateItemsForObserver(std::make_shared<Observer>(*this, folder, attempt, identifier), {});
}

// What is not there may only have moved.
void Lister::failed(Inode folder, std::uint64_t attempt, const std::string& identifier, int error) {
  const bool gone = replica_.identifier(folder).empty();
  if (error != ENOENT || gone || replica_.isPlace(folder, identifier)) return finish(folder, attempt, error);
  if (isCurrent(folder, attempt)) send(folder, attempt);
}

bool Lister::learn(Inode folder, const std::vector<NSFileProviderItemPtr>& items, const Asked& asked) {
  const auto before = replica_.node(folder);
  const ReplicaDelta delta = replica_.applyListing(folder, items, asked);
  if (std::ranges::find(delta.toList, folder) != delta.toList.end()) return false;
  // The kernel hears of changes before whoever waits: what they look up next is new. Of a folder that was
  // not listed it knows nothing yet.
  if (before && before->listed && !delta.empty()) changed_(delta);
  listed_(items.size());
  return true;
}

void Lister::finish(Inode folder, std::uint64_t attempt, int error) {
  std::vector<WaiterPtr> waiters;
  {
    const std::lock_guard lock(mutex_);
    const auto it = listings_.find(folder);
    if (it == listings_.end() || it->second.attempt != attempt) return;
    waiters = std::move(it->second.waiters);
    listings_.erase(it);
  }
  for (const auto& waiter : waiters) waiter->done(error);
}

bool Lister::isCurrent(Inode folder, std::uint64_t attempt) const {
  const std::lock_guard lock(mutex_);
  const auto it = listings_.find(folder);
  return it != listings_.end() && it->second.attempt == attempt;
}

void Lister::hostLost() {
  const std::lock_guard lock(mutex_);
  sending_ = false;
  for (auto& [folder, listing] : listings_) listing.attempt = 0;
}

void Lister::hostReady() {
  std::vector<std::pair<Inode, std::uint64_t>> toSend;
  {
    const std::lock_guard lock(mutex_);
    sending_ = true;
    std::erase_if(listings_, [](const auto& entry) {
      return entry.second.attempt == 0 &&
             std::ranges::all_of(entry.second.waiters,
                                 [](const WaiterPtr& waiter) { return waiter->gaveUp(); });
    });
    for (auto& [folder, listing] : listings_) {
      if (listing.attempt == 0) toSend.emplace_back(folder, listing.attempt = nextAttempt_++);
    }
  }
  for (const auto& [folder, attempt] : toSend) send(folder, attempt);
}

bool Lister::sending() const {
  const std::lock_guard lock(mutex_);
  return sending_;
}

std::size_t Lister::inFlight() const {
  const std::lock_guard lock(mutex_);
  return listings_.size();
}

std::size_t Lister::waiters() const {
  const std::lock_guard lock(mutex_);
  std::size_t count = 0;
  for (const auto& [folder, listing] : listings_) count += listing.waiters.size();
  return count;
}

}  // namespace zelto
