#include "framework/propagation/SendQueue.h"

#include <algorithm>
#include <utility>

namespace zelto {
namespace {

constexpr unsigned kMostDoublings = 16;
constexpr int kDeepest = 64;  // of those who wait for one another
constexpr std::chrono::milliseconds kShortest{1};

std::size_t indexOf(SendQueue::Lane lane) { return static_cast<std::size_t>(lane); }

bool isTimed(SendQueue::State state) {
  using State = SendQueue::State;
  return state == State::settling || state == State::writing || state == State::pausing ||
         state == State::failed;
}

}  // namespace

void SendQueue::leave(Inode inode, Item& item) {
  --counts_[static_cast<std::size_t>(item.state)];
  if (isTimed(item.state)) timed_.erase({item.due, inode});
  if (item.state == State::ready) ready_[indexOf(item.lane)].erase(item.order);
  if (item.state == State::sending) --sending_[indexOf(item.lane)];
  if (item.state != State::parked) return;
  const auto it = parked_.find(item.another);
  if (it == parked_.end()) return;
  it->second.erase(inode);
  if (it->second.empty()) parked_.erase(it);
}

void SendQueue::enter(Inode inode, Item& item, State state) {
  leave(inode, item);
  item.state = state;
  ++counts_[static_cast<std::size_t>(state)];
  if (isTimed(state)) timed_.insert({item.due, inode});
  if (state == State::ready) ready_[indexOf(item.lane)].emplace(item.order, inode);
  if (state == State::sending) ++sending_[indexOf(item.lane)];
  if (state == State::parked) parked_[item.another].insert(inode);
}

void SendQueue::enterTimed(Inode inode, Item& item, State state, Time due) {
  leave(inode, item);
  item.due = due;
  item.state = state;
  ++counts_[static_cast<std::size_t>(state)];
  timed_.insert({due, inode});
}

SendQueue::Item& SendQueue::itemFor(Inode inode, Time first) {
  const auto [it, isNew] = items_.try_emplace(inode);
  if (isNew) {
    it->second.order = nextOrder_++;
    it->second.first = it->second.last = it->second.due = first;
    it->second.since = std::chrono::system_clock::now();
    ++counts_[static_cast<std::size_t>(State::settling)];
    timed_.insert({first, inode});
  }
  return it->second;
}

SendQueue::Time SendQueue::restsUntil(const Item& item) const {
  return std::min(item.last + settings_.settleDown, item.first + settings_.settleAtMost);
}

std::chrono::milliseconds SendQueue::pause(unsigned attempts) const {
  const unsigned doublings = std::min(attempts > 0 ? attempts - 1 : 0, kMostDoublings);
  return std::min(settings_.longestPause, settings_.firstPause * (1 << doublings));
}

SendQueue::Time SendQueue::busyUntil() const {
  return std::min(lastChange_ + settings_.busyPause, busySince_ + settings_.busyAtMost);
}

void SendQueue::changed(Inode inode, Time now) {
  if (now > lastChange_ + settings_.busyPause) busySince_ = now;
  lastChange_ = now;
  Item& item = itemFor(inode, now);
  if (item.state == State::sending) {
    if (!item.changedMeanwhile) item.first = now;
    item.changedMeanwhile = true;
    item.last = now;
    return;
  }
  item.last = now;
  item.bounces = 0;
  // What a program had open rests from the moment that it is closed.
  if (item.state != State::settling && item.state != State::ready) item.first = now;
  item.evenIfOpen = item.atOnce = false;
  enterTimed(inode, item, State::settling, restsUntil(item));
}

void SendQueue::add(Inode inode, Time now) { itemFor(inode, now); }

std::vector<Inode> SendQueue::due(Time now) {
  std::vector<Inode> inodes;
  if (now < busyUntil()) return inodes;
  while (!timed_.empty() && timed_.begin()->first <= now) {
    const Inode inode = timed_.begin()->second;
    Item& item = items_.at(inode);
    if (item.state == State::writing) item.evenIfOpen = true;
    enter(inode, item, State::ready);
    inodes.push_back(inode);
  }
  return inodes;
}

void SendQueue::setLane(Inode inode, Lane lane) {
  const auto it = items_.find(inode);
  if (it == items_.end() || it->second.state != State::ready) return;
  ready_[indexOf(it->second.lane)].erase(it->second.order);
  it->second.lane = lane;
  ready_[indexOf(lane)].emplace(it->second.order, inode);
}

bool SendQueue::hasRoom(Lane lane) const {
  const unsigned all = sending_[0] + sending_[1] + sending_[2];
  if (all >= settings_.steps) return false;
  if (lane == Lane::uploads) return sending_[indexOf(lane)] < settings_.uploads;
  return lane != Lane::metadata || sending_[indexOf(lane)] < settings_.metadata;
}

std::optional<SendQueue::Taken> SendQueue::take() {
  const std::map<std::uint64_t, Inode>* oldest = nullptr;
  for (const Lane lane : {Lane::uploads, Lane::others, Lane::metadata}) {
    const auto& ready = ready_[indexOf(lane)];
    if (ready.empty() || !hasRoom(lane)) continue;
    if (oldest == nullptr || ready.begin()->first < oldest->begin()->first) oldest = &ready;
  }
  if (oldest == nullptr) return std::nullopt;
  const Inode inode = oldest->begin()->second;
  Item& item = items_.at(inode);
  enter(inode, item, State::sending);
  item.changedMeanwhile = false;
  return Taken{inode, std::exchange(item.evenIfOpen, false), std::exchange(item.atOnce, false)};
}

// It looks again: at once, or when what changed meanwhile has rested.
void SendQueue::settle(Inode inode, Item& item, Time now) {
  enterTimed(inode, item, State::settling, item.changedMeanwhile ? restsUntil(item) : now);
  item.changedMeanwhile = false;
}

void SendQueue::settled(Inode inode, Time now) {
  const auto it = items_.find(inode);
  if (it == items_.end()) return;
  it->second.attempts = it->second.bounces = 0;
  it->second.reason.clear();
  settle(inode, it->second, now);
  unpark(inode, now, false);
}

void SendQueue::erase(Inode inode) {
  const auto it = items_.find(inode);
  leave(inode, it->second);
  items_.erase(it);
}

void SendQueue::waiting(Inode inode, const LocalWait& wait, Time now) {
  const auto it = items_.find(inode);
  if (it == items_.end()) return;
  Item& item = it->second;
  // What the wait was for may be over already.
  if (item.changedMeanwhile) return settle(inode, item, now);
  switch (wait.why) {
    case LocalWait::Why::nothing:
      erase(inode);
      return unpark(inode, now, true);
    case LocalWait::Why::another:
      return park(inode, wait.another, now);
    case LocalWait::Why::writing:
      return enterTimed(inode, item, State::writing, std::max(now, item.last + settings_.openAtMost));
    case LocalWait::Why::staysLocal:
      return enter(inode, item, State::local);
  }
}

void SendQueue::stillWriting(Inode inode, std::chrono::milliseconds ago, Time now) {
  const auto it = items_.find(inode);
  if (it == items_.end()) return;
  if (it->second.changedMeanwhile) return settle(inode, it->second, now);
  enterTimed(inode, it->second, State::writing, now + std::max(settings_.openAtMost - ago, kShortest));
}

void SendQueue::stillOpen(Inode inode, Time now) {
  const auto it = items_.find(inode);
  if (it == items_.end()) return;
  if (it->second.changedMeanwhile) return settle(inode, it->second, now);
  enter(inode, it->second, State::open);
}

void SendQueue::park(Inode inode, Inode another, Time now) {
  // The other one may have been settled just now, or never told of: then it finds nothing to do and lets this
  // one look again. It may have begun to wait for this one before a circle was to be seen, which it is to
  // break.
  itemFor(another, now);
  Item& item = items_.at(inode);
  leave(inode, item);
  item.another = another;
  item.state = State::parked;
  ++counts_[static_cast<std::size_t>(State::parked)];
  parked_[another].insert(inode);
  if (waitsFor(another, inode)) lookAgain(another, now);
}

// Whether one waits for the other, perhaps over others.
bool SendQueue::waitsFor(Inode inode, Inode other) const {
  for (int depth = 0; depth < kDeepest; ++depth) {
    const auto it = items_.find(inode);
    if (it == items_.end() || it->second.state != State::parked) return false;
    inode = it->second.another;
    if (inode == other) return true;
  }
  return false;
}

// For nothing, perhaps: each time in a row a little later.
void SendQueue::lookAgain(Inode inode, Time now) {
  Item& item = items_.at(inode);
  const auto pause = settings_.settleDown * (1 << std::min(item.bounces++, kMostDoublings));
  enterTimed(inode, item, State::settling, now + std::min(settings_.longestPause, pause));
}

void SendQueue::unpark(Inode another, Time now, bool forNothing) {
  const auto it = parked_.find(another);
  if (it == parked_.end()) return;
  const std::set<Inode> waiting = it->second;
  for (const Inode inode : waiting) {
    if (forNothing) {
      lookAgain(inode, now);
    } else {
      enterTimed(inode, items_.at(inode), State::settling, now);
    }
  }
}

void SendQueue::failed(Inode inode, Time now, std::string reason, bool mayPass) {
  const auto it = items_.find(inode);
  if (it == items_.end()) return;
  Item& item = it->second;
  ++item.attempts;
  item.reason = std::move(reason);
  item.changedMeanwhile = false;
  const bool passes = mayPass && item.attempts < settings_.patientFailures;
  enterTimed(inode, item, passes ? State::pausing : State::failed,
             now + (mayPass ? pause(item.attempts) : settings_.longestPause));
}

void SendQueue::interrupted(Inode inode, Time now) {
  const auto it = items_.find(inode);
  if (it != items_.end()) settle(inode, it->second, now);
}

void SendQueue::flush(Time now) {
  lastChange_ = busySince_ = Time{};
  std::vector<Inode> resting;
  for (const auto& [inode, item] : items_) {
    if (isTimed(item.state) && item.state != State::failed) resting.push_back(inode);
  }
  for (const Inode inode : resting) {
    Item& item = items_.at(inode);
    item.atOnce = true;
    enterTimed(inode, item, item.state, std::min(item.due, now));
  }
}

bool SendQueue::retry(Inode inode, Time now) {
  auto it = items_.find(inode);
  if (it == items_.end()) return false;
  // What waits for another is helped by that one.
  for (int depth = 0; depth < kDeepest && it->second.state == State::parked; ++depth) {
    const auto another = items_.find(it->second.another);
    if (another == items_.end()) break;
    it = another;
  }
  inode = it->first;
  Item& item = it->second;
  if (item.state == State::pausing || item.state == State::failed) {
    item.attempts = 0;
    enterTimed(inode, item, State::settling, now);
  }
  return true;
}

void SendQueue::retryAll(Time now) {
  for (const Inode inode : inodes()) retry(inode, now);
}

std::optional<SendQueue::Time> SendQueue::nextDue() const {
  if (timed_.empty()) return std::nullopt;
  return std::max(timed_.begin()->first, busyUntil());
}

const SendQueue::Item* SendQueue::find(Inode inode) const {
  const auto it = items_.find(inode);
  return it == items_.end() ? nullptr : &it->second;
}

std::vector<Inode> SendQueue::inodes() const {
  std::vector<std::pair<std::uint64_t, Inode>> byAge;
  byAge.reserve(items_.size());
  for (const auto& [inode, item] : items_) byAge.emplace_back(item.order, inode);
  std::ranges::sort(byAge);
  std::vector<Inode> inodes;
  inodes.reserve(byAge.size());
  for (const auto& [order, inode] : byAge) inodes.push_back(inode);
  return inodes;
}

std::size_t SendQueue::active() const {
  return count(State::settling) + count(State::ready) + count(State::sending) + count(State::writing) +
         count(State::pausing);
}

bool SendQueue::staysLocal(const Item& item) const {
  const Item* at = &item;
  for (int depth = 0; depth < kDeepest && at != nullptr && at->state == State::parked; ++depth) {
    at = find(at->another);
  }
  return at != nullptr && at->state == State::local;
}

}  // namespace zelto
