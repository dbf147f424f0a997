#include "framework/propagation/Propagator.h"

#include <cerrno>
#include <cstdio>
#include <utility>

#include "framework/requests/Errno.h"

namespace zelto {
namespace {

using Clock = Deadlines::Clock;

// Trying again soon may help.
bool mayPass(const NSError& error) {
  switch (errnoForError(error)) {
    case EACCES:
    case EPERM:
    case EROFS:
    case EINVAL:
    case ENAMETOOLONG:
    case EILSEQ:
    case EISDIR:
    case ENOTDIR:
    case EEXIST:
    case ENOTEMPTY:
    case EOPNOTSUPP:
    case EFBIG:
      return false;
    default:
      return true;
  }
}

SendQueue::Lane laneOf(const std::optional<LocalChangeInfo>& change) {
  using Lane = SendQueue::Lane;
  if (!change || change->removed) return Lane::others;
  if (change->kind == NodeKind::file && (change->created || change->content)) return Lane::uploads;
  return change->created || change->moved || !change->metadata ? Lane::others : Lane::metadata;
}

std::tm localTimeNow() {
  const std::time_t now = std::time(nullptr);
  std::tm time{};
  ::localtime_r(&now, &time);
  return time;
}

}  // namespace

std::shared_ptr<Propagator> Propagator::make(const Parts& parts, Observers observers,
                                             const Settings& settings) {
  std::shared_ptr<Propagator> propagator(new Propagator(parts, std::move(observers), settings));
  propagator->stepParts_ = propagator->stepParts(parts);
  return propagator;
}

Propagator::Propagator(const Parts& parts, Observers observers, const Settings& settings)
    : settings_(settings),
      observers_(std::move(observers)),
      replica_(parts.replica),
      lister_(parts.lister),
      deadlines_(parts.deadlines),
      queue_(std::make_shared<DispatchQueue>("it.pellam.Zelto.FileProvider.uploads")),
      sending_(settings.sending) {}

Propagator::~Propagator() { deadlines_.cancel(timer_); }

// Answers may outlive this object: what they call looks first whether it is still there.
std::shared_ptr<const StepParts> Propagator::stepParts(const Parts& parts) {
  const auto weak = weak_from_this();
  return std::make_shared<const StepParts>(StepParts{
      .extension = parts.extension,
      .replica = parts.replica,
      .lister = parts.lister,
      .ways = {parts.deadlines, queue_, settings_.patience},
      .comparing = std::make_shared<DispatchQueue>("it.pellam.Zelto.FileProvider.compare"),
      .exportDirectory = parts.exportDirectory,
      .changed = observers_.changed,
      .conflict =
          [weak](const std::string& path, const std::string& message) {
            if (const auto self = weak.lock()) self->conflict(path, message);
          },
      .progressed =
          [weak](Inode inode, std::int64_t completed, std::int64_t total) {
            if (const auto self = weak.lock()) self->progressed(inode, completed, total);
          },
      .localTime = localTimeNow,
  });
}

// ---- coming and going

void Propagator::start() {
  replica_.setLocalChangeHandler([weak = weak_from_this()](Inode inode) {
    if (const auto self = weak.lock()) self->changed(inode);
  });
  const auto inodes = replica_.localChanges();
  {
    const std::lock_guard lock(mutex_);
    for (const Inode inode : inodes) sending_.add(inode, Clock::now());
  }
  wake();
}

void Propagator::hostReady() {
  {
    const std::lock_guard lock(mutex_);
    hostPresent_ = true;
    sending_.retryAll(Clock::now());
  }
  wake();
}

void Propagator::hostLost() {
  {
    const std::lock_guard lock(mutex_);
    hostPresent_ = false;
  }
  queue_->async([weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->abortAll();
  });
}

void Propagator::close() {
  std::vector<Completion<std::vector<PendingChange>>> dropped;
  {
    const std::lock_guard lock(mutex_);
    closed_ = true;
    deadlines_.cancel(timer_);
    dropped = std::exchange(waiters_, {});
  }
  queue_->async([self = shared_from_this()] { self->abortAll(); });
  queue_->drain();
}

void Propagator::abortAll() {
  const auto runs = runs_;
  for (const auto& [inode, run] : runs) run->abort();
}

void Propagator::drain() { queue_->drain(); }

// ---- what is to be sent

void Propagator::changed(Inode inode) {
  {
    const std::lock_guard lock(mutex_);
    if (closed_) return;
    sending_.changed(inode, Clock::now());
    if (hostPresent_) armTimer();
  }
  tellCountsSoon();
}

void Propagator::wake() {
  {
    const std::lock_guard lock(mutex_);
    if (closed_ || std::exchange(pumpQueued_, true)) return;
  }
  queue_->async([weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->pump();
  });
}

void Propagator::pump() {
  {
    const std::lock_guard lock(mutex_);
    pumpQueued_ = false;
  }
  for (;;) {
    std::vector<Inode> ready;
    std::optional<SendQueue::Taken> taken;
    {
      const std::lock_guard lock(mutex_);
      if (closed_ || !hostPresent_) break;
      ready = sending_.due(Clock::now());
      if (ready.empty()) taken = sending_.take();
    }
    if (ready.empty() && !taken) break;
    sortIn(ready);
    if (taken) begin(*taken);
  }
  {
    const std::lock_guard lock(mutex_);
    if (hostPresent_ && !closed_) armTimer();
  }
  tellCountsSoon();
  answerWaiters();
}

void Propagator::sortIn(const std::vector<Inode>& ready) {
  for (const Inode inode : ready) {
    const auto lane = laneOf(replica_.localChange(inode));
    const std::lock_guard lock(mutex_);
    sending_.setLane(inode, lane);
  }
}

void Propagator::begin(const SendQueue::Taken& taken) {
  const Inode inode = taken.inode;
  if (taken.evenIfOpen && !taken.atOnce) {
    // What is written to all the time waits until it is quiet.
    const auto quiet = quietFor(inode);
    if (quiet < settings_.sending.openAtMost) {
      const std::lock_guard lock(mutex_);
      return sending_.stillWriting(inode, quiet, Clock::now());
    }
  }
  auto step = replica_.beginStep(inode, false);
  if (step) return run(*std::move(step));
  if (step.error().why != LocalWait::Why::writing) return wait(inode, step.error());
  if (isTakenAsItIs(inode)) {
    const std::lock_guard lock(mutex_);
    return sending_.stillOpen(inode, Clock::now());
  }
  if (!taken.evenIfOpen && !taken.atOnce) return wait(inode, step.error());
  step = replica_.beginStep(inode, true);
  step ? run(*std::move(step)) : wait(inode, step.error());
}

void Propagator::wait(Inode inode, const LocalWait& why) {
  if (why.why == LocalWait::Why::nothing) {
    takenWhileOpen_.erase(inode);
  }
  const std::lock_guard lock(mutex_);
  sending_.waiting(inode, why, Clock::now());
}

std::chrono::milliseconds Propagator::quietFor(Inode inode) const {
  const auto node = replica_.node(inode);
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const auto quiet = now - std::chrono::nanoseconds(node ? node->modifiedNs : 0);
  // A date in the future was set, not written.
  if (quiet < std::chrono::nanoseconds(0)) return settings_.sending.openAtMost;
  return std::chrono::duration_cast<std::chrono::milliseconds>(quiet);
}

// Whether a file that is open holds nothing that the server has not taken already.
bool Propagator::isTakenAsItIs(Inode inode) {
  const auto taken = takenWhileOpen_.find(inode);
  if (taken == takenWhileOpen_.end()) return false;
  const auto step = replica_.beginStep(inode, true);
  if (!step) return false;
  replica_.stepFailed(*step, step->kind != LocalStep::Kind::upload);
  return step->kind == LocalStep::Kind::upload && step->contentRevision == taken->second;
}

void Propagator::run(LocalStep step) {
  const Inode inode = step.node.inode;
  auto run = StepRun::make(stepParts_, std::move(step), [weak = weak_from_this(), inode](StepResult result) {
    if (const auto self = weak.lock()) self->ended(inode, std::move(result));
  });
  runs_[inode] = run;
  run->start();
}

void Propagator::ended(Inode inode, StepResult result) {
  runs_.erase(inode);
  if (result.kind == StepResult::Kind::settled) {
    if (result.takenRevision) takenWhileOpen_[inode] = *result.takenRevision;
  }
  note(inode, result);
  wake();
}

void Propagator::note(Inode inode, StepResult& result) {
  const std::lock_guard lock(mutex_);
  progress_.erase(inode);
  const auto now = Clock::now();
  switch (result.kind) {
    case StepResult::Kind::settled:
    case StepResult::Kind::again:
      return sending_.settled(inode, now);
    case StepResult::Kind::interrupted:
      return sending_.interrupted(inode, now);
    case StepResult::Kind::failed:
      return sending_.failed(inode, now, result.error->localizedDescription(), mayPass(*result.error));
  }
}

// REQUIRES: the lock.
void Propagator::armTimer() {
  const auto due = sending_.nextDue();
  // One that is too early does no harm; an item that goes on changing does not move it each time.
  if (!due || (armedFor_ && *armedFor_ <= *due && *armedFor_ > Clock::now())) return;
  deadlines_.cancel(timer_);
  armedFor_ = due;
  timer_ = deadlines_.schedule(*due, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->wake();
  });
}

}  // namespace zelto
