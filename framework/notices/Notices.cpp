#include "framework/notices/Notices.h"

#include <set>
#include <utility>

namespace zelto {
namespace {

// So many are told before the kernel is told of other things again.
constexpr std::size_t kInOneRound = 32;
// How long other things wait for a round that somebody's lock on the folder holds up.
constexpr std::chrono::milliseconds kLongestRound{100};
constexpr int kDeepest = 1000;

}  // namespace

Notices::Notices(Replica& replica, std::string mountPoint, Later later)
    : replica_(replica),
      mountPoint_(std::move(mountPoint)),
      later_(std::move(later)),
      thread_(expected_, [this] { schedule(); }) {}

void Notices::begin() {
  {
    const std::lock_guard lock(mutex_);
    serving_ = true;
  }
  schedule();
}

void Notices::replicaChanged(const ReplicaDelta& delta) {
  if (isFull()) return;
  const Moved moves = movesOf(delta);
  noteRemoved(delta, moves);
  noteMoved(delta, moves);
  noteAdded(delta, moves);
  noteChanged(delta.contentChanged, true);
  noteChanged(delta.metadataChanged, false);
  schedule();
}

bool Notices::isFull() {
  const std::lock_guard lock(mutex_);
  return pending_.full();
}

// What left one place and came to another, by its number, with the place that it left. What takes the place
// of something, also of what has moved, is told as gone and come.
Notices::Moved Notices::movesOf(const ReplicaDelta& delta) {
  Moved moves;
  if (delta.removed.empty() || delta.added.empty()) return moves;
  std::set<std::pair<Inode, std::string_view>> left;
  Moved removed;
  for (const auto& name : delta.removed) {
    left.emplace(name.parent, name.name);
    removed[name.inode] = &name;
  }
  for (const auto& to : delta.added) {
    const auto it = removed.find(to.inode);
    if (it == removed.end() || to.parent == delta.firstListed) continue;
    const ReplicaDelta::Name& from = *it->second;
    const bool free = !left.contains({to.parent, to.name});
    if (free && folders_.contains(from.parent) && folders_.contains(to.parent)) moves.insert(*it);
  }
  const std::lock_guard lock(mutex_);
  std::erase_if(moves, [this](const auto& move) { return !pending_.isAtMostTouched(*move.second); });
  return moves;
}

void Notices::noteRemoved(const ReplicaDelta& delta, const Moved& moves) {
  for (const auto& name : delta.removed) {
    if (!folders_.contains(name.parent) || moves.contains(name.inode)) continue;
    const std::lock_guard lock(mutex_);
    pending_.gone(name);
  }
}

void Notices::noteMoved(const ReplicaDelta& delta, const Moved& moves) {
  if (moves.empty()) return;
  for (const auto& to : delta.added) {
    const auto move = moves.find(to.inode);
    if (move == moves.end()) continue;
    const std::lock_guard lock(mutex_);
    if (pending_.isAtMostTouched(to)) {  // also touched there already, as the replica names it by now
      pending_.moved(*move->second, to);
    } else {
      pending_.gone(*move->second);
      pending_.appeared(to);
    }
  }
}

void Notices::noteAdded(const ReplicaDelta& delta, const Moved& moves) {
  for (const auto& name : delta.added) {
    const bool news = name.parent != delta.firstListed && !moves.contains(name.inode);
    if (!news || !folders_.contains(name.parent)) continue;
    const std::lock_guard lock(mutex_);
    pending_.appeared(name);
  }
}

void Notices::noteChanged(const std::vector<Inode>& inodes, bool content) {
  for (const Inode inode : inodes) {
    const auto node = replica_.node(inode);
    if (!node || inode == kRootInode || !folders_.contains(node->parent)) continue;
    std::string name = replica_.name(inode);
    const std::lock_guard lock(mutex_);
    if (pending_.full()) return;
    pending_.changed(*node, std::move(name), content);
  }
}

// One turn is waiting at most, however many changes there are.
void Notices::schedule() {
  {
    const std::lock_guard lock(mutex_);
    if (!serving_ || scheduled_ || pending_.empty()) return;
    scheduled_ = true;
  }
  later_([this] { turn(); });
}

void Notices::turn() {
  std::vector<PendingNotices::Pending> places;
  {
    const std::lock_guard lock(mutex_);
    scheduled_ = false;
    if (thread_.busy()) return;  // its end comes back here
    places = pending_.take(kInOneRound);
  }
  PendingNotices::Told told = PendingNotices::noticesFor(places, replica_);
  if (!told.untold.empty()) {
    const std::lock_guard lock(mutex_);
    pending_.leaveUntold(told.untold);
  }
  NoticeRound round;
  round.notices = std::move(told.notices);
  if (round.notices.empty()) return schedule();
  const auto path = pathOf(places.front().place.folder);
  const Inode from = places.front().from ? places.front().from->folder : 0;
  const auto fromPath = from != 0 ? pathOf(from) : path;
  if (!path || !fromPath) return schedule();
  round.folder = places.front().place.folder;
  round.path = *path;
  round.fromFolder = from != round.folder ? from : 0;
  round.fromPath = *fromPath;
  thread_.perform(std::move(round));
  thread_.waitUntilIdle(kLongestRound);
}

std::optional<std::string> Notices::pathOf(Inode folder) {
  std::string path;
  for (int depth = 0; folder != kRootInode; ++depth) {
    const auto node = replica_.node(folder);
    const std::string name = replica_.name(folder);
    if (!node || name.empty() || depth > kDeepest) return std::nullopt;
    path.insert(0, "/" + name);
    folder = node->parent;
  }
  return mountPoint_ + path;
}

}  // namespace zelto
