#include <cerrno>
#include <cstdio>
#include <set>
#include <utility>

#include "framework/propagation/Propagator.h"

namespace zelto {
namespace {

using Clock = Deadlines::Clock;

}  // namespace

// ---- for those who ask

Propagator::Counts Propagator::countsLocked() const {
  using State = SendQueue::State;
  Counts counts;
  counts.uploading = sending_.count(State::sending);
  counts.failed = sending_.count(State::failed);
  counts.local = sending_.count(State::local);
  counts.pending =
      sending_.size() - counts.uploading - counts.failed - counts.local - sending_.count(State::open);
  counts.conflicts = conflicts_;
  return counts;
}

Propagator::Counts Propagator::counts() const {
  const std::lock_guard lock(mutex_);
  return countsLocked();
}

PendingChange::State Propagator::stateOf(const SendQueue& sending, const SendQueue::Item& item) {
  switch (item.state) {
    case SendQueue::State::sending:
      return PendingChange::State::uploading;
    case SendQueue::State::failed:
      return PendingChange::State::failed;
    case SendQueue::State::local:
      return PendingChange::State::local;
    case SendQueue::State::parked:
      return sending.staysLocal(item) ? PendingChange::State::local : PendingChange::State::waiting;
    case SendQueue::State::writing:
      return PendingChange::State::waiting;
    case SendQueue::State::open:
      return PendingChange::State::current;
    default:
      return PendingChange::State::pending;
  }
}

PendingChange Propagator::describe(Inode inode) const {
  PendingChange change;
  if (auto info = replica_.localChange(inode)) change.info = *std::move(info);
  Inode another = 0;
  {
    const std::lock_guard lock(mutex_);
    const SendQueue::Item* const item = sending_.find(inode);
    if (item == nullptr) return change;
    change.state = stateOf(sending_, *item);
    change.reason = item->reason;
    change.attempts = item->attempts;
    change.since = item->since;
    if (item->state == SendQueue::State::parked) another = item->another;
    if (item->state == SendQueue::State::writing && change.reason.empty())
      change.reason = "is open for writing";
    if (const auto it = progress_.find(inode); it != progress_.end()) {
      change.completed = it->second.completed;
      change.total = it->second.total;
    }
  }
  const bool sendsBytes = change.info.kind == NodeKind::file && (change.info.created || change.info.content);
  if (change.total == 0 && sendsBytes) change.total = static_cast<std::int64_t>(change.info.size);
  if (another != 0 && change.reason.empty()) {
    const auto before = replica_.localChange(another);
    if (before) change.reason = "comes after " + before->path;
  }
  return change;
}

std::vector<PendingChange> Propagator::pending(std::size_t most) const {
  std::vector<Inode> inodes;
  {
    const std::lock_guard lock(mutex_);
    inodes = sending_.inodes();
  }
  std::vector<PendingChange> changes;
  for (const Inode inode : inodes) {
    if (changes.size() == most) break;
    auto change = describe(inode);
    // Not one that was settled just now.
    if (change.info.inode != 0 && change.state != PendingChange::State::current)
      changes.push_back(std::move(change));
  }
  return changes;
}

std::string Propagator::stateText(const NodeInfo& node) const {
  if (!node.local) return "current";
  const std::lock_guard lock(mutex_);
  const SendQueue::Item* const item = sending_.find(node.inode);
  if (item == nullptr) return "pending";
  switch (stateOf(sending_, *item)) {
    case PendingChange::State::uploading:
      return "uploading";
    case PendingChange::State::failed:
      return "failed: " + item->reason;
    case PendingChange::State::local:
      return "local";
    case PendingChange::State::current:
      return "current";
    default:
      return "pending";
  }
}

// ---- for those who wait or steer

void Propagator::flushNow() {
  {
    const std::lock_guard lock(mutex_);
    sending_.flush(Clock::now());
  }
  wake();
}

void Propagator::waitUntilDone(Completion<std::vector<PendingChange>> completion) {
  {
    const std::lock_guard lock(mutex_);
    if (closed_) return;
    waiters_.push_back(std::move(completion));
  }
  wake();
}

void Propagator::answerWaiters() {
  std::vector<Completion<std::vector<PendingChange>>> answered;
  std::vector<Inode> inodes;
  {
    const std::lock_guard lock(mutex_);
    if (waiters_.empty() || sending_.active() != 0) return;
    answered = std::exchange(waiters_, {});
    inodes = sending_.inodes();
  }
  std::vector<PendingChange> failed;
  for (const Inode inode : inodes) {
    auto change = describe(inode);
    // What comes after a failed one has not been sent either.
    const bool stuck =
        change.state == PendingChange::State::failed || change.state == PendingChange::State::waiting;
    if (stuck && change.info.inode != 0) failed.push_back(std::move(change));
  }
  for (auto& completion : answered) completion(failed);
}

bool Propagator::retry(Inode inode) {
  {
    const std::lock_guard lock(mutex_);
    if (!sending_.retry(inode, Clock::now())) return false;
  }
  wake();
  return true;
}

void Propagator::retryAll() {
  {
    const std::lock_guard lock(mutex_);
    sending_.retryAll(Clock::now());
  }
  wake();
}

void Propagator::cancel(Inode inode, Completion<int> completion) {
  queue_->async([weak = weak_from_this(), inode, completion = std::move(completion)]() mutable {
    if (const auto self = weak.lock()) self->cancelNow(inode, std::move(completion));
  });
}

void Propagator::cancelNow(Inode inode, Completion<int> completion) {
  if (const auto run = runs_.find(inode); run != runs_.end()) {
    const auto kept = run->second;
    kept->abort();
  }
  const auto change = replica_.localChange(inode);
  if (!change) return completion(ENOENT);
  const auto node = replica_.node(inode);
  const auto delta = replica_.abandon(inode);
  if (!delta) return completion(delta.error());
  observers_.changed(*delta);
  listAgain(node ? node->parent : 0, change->identifier);
  {
    const std::lock_guard lock(mutex_);
    sending_.settled(inode, Clock::now());
  }
  wake();
  completion(0);
}

// The folder where it stood here and the one where the server has it.
void Propagator::listAgain(Inode folder, const std::string& identifier) {
  const auto slash = identifier.rfind('/');
  const bool inRoot = slash == 0 || slash == std::string::npos;
  const auto server =
      inRoot ? kRootInode : replica_.inodeForIdentifier(identifier.substr(0, slash)).value_or(0);
  for (const Inode each : std::set{folder, server}) {
    const auto node = replica_.node(each);
    if (node && node->listed) lister_.list(each, std::make_shared<FunctionWaiter>([](int) {}));
  }
}

// ---- for those who listen

void Propagator::progressed(Inode inode, std::int64_t completed, std::int64_t total) {
  {
    const std::lock_guard lock(mutex_);
    const SendQueue::Item* const item = sending_.find(inode);
    if (item == nullptr || item->state != SendQueue::State::sending) return;
    Progress& progress = progress_[inode];
    progress.completed = completed;
    progress.total = total;
    const auto now = Clock::now();
    if (now - progress.told < settings_.noticePause && completed != total) return;
    progress.told = now;
  }
  const auto change = replica_.localChange(inode);
  if (change) observers_.progress(change->path, completed, total);
}

void Propagator::conflict(const std::string& path, const std::string& message) {
  {
    const std::lock_guard lock(mutex_);
    ++conflicts_;
  }
  std::fprintf(stderr, "zelto-fileprovider: %s: %s\n", path.c_str(), message.c_str());
  observers_.conflict(path, message);
  tellCountsSoon();
}

void Propagator::tellCountsSoon() {
  const std::lock_guard lock(mutex_);
  if (noticeDue_ || closed_ || countsLocked() == told_) return;
  noticeDue_ = true;
  deadlines_.schedule(Clock::now() + settings_.noticePause, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->tellCounts();
  });
}

void Propagator::tellCounts() {
  Counts counts;
  {
    const std::lock_guard lock(mutex_);
    noticeDue_ = false;
    counts = countsLocked();
    if (closed_ || counts == std::exchange(told_, counts)) return;
  }
  observers_.countsChanged(counts);
}

}  // namespace zelto
