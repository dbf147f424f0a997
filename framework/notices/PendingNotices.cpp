#include "framework/notices/PendingNotices.h"

#include <utility>

namespace zelto {
namespace {

void tellGone(const Place& place, Inode inode, NodeKind kind, std::vector<Notice>& notices) {
  notices.push_back({.kind = Notice::Kind::gone, .node = kind, .inode = inode, .place = place, .from = {}});
}

void tellAppeared(const Place& place, const NodeInfo& node, std::vector<Notice>& notices) {
  notices.push_back(
      {.kind = Notice::Kind::appeared, .node = node.kind, .inode = node.inode, .place = place, .from = {}});
}

}  // namespace

bool PendingNotices::isSourceOfMove(const Place& place) const {
  const auto known = index_.find(place);
  return known != index_.end() && known->second->from == place;
}

// The place's entry, made as given where there is none; null when there is no room. What was there before
// stays what it was at the first change.
PendingNotices::Pending* PendingNotices::at(const Place& place, Inode before, NodeKind kind) {
  if (const auto known = index_.find(place); known != index_.end()) {
    if (known->second->from) splitMove(known->second);
    return &*index_.find(place)->second;
  }
  if (full()) return nullptr;
  places_.push_back({.place = place, .before = before, .kindBefore = kind, .from = {}});
  index_.emplace(place, std::prev(places_.end()));
  return &places_.back();
}

void PendingNotices::appeared(const ReplicaDelta::Name& what) {
  const Place place{what.parent, what.name};
  if (isSourceOfMove(place)) index_.erase(place);  // told of after the move, which leaves the place free
  at(place, 0, NodeKind::file);
}

void PendingNotices::gone(const ReplicaDelta::Name& what) {
  at({what.parent, what.name}, what.inode, what.kind);
}

void PendingNotices::moved(const ReplicaDelta::Name& from, const ReplicaDelta::Name& to) {
  if (full()) return;
  places_.push_back({.place = {to.parent, to.name},
                     .before = to.inode,
                     .kindBefore = to.kind,
                     .from = Place{from.parent, from.name}});
  const auto move = std::prev(places_.end());
  index_.emplace(move->place, move);
  index_.emplace(*move->from, move);
}

void PendingNotices::changed(const NodeInfo& node, std::string name, bool content) {
  Pending* const pending = at({node.parent, std::move(name)}, node.inode, node.kind);
  if (pending == nullptr) return;
  (content ? pending->content : pending->attributes) = true;
}

// Something else happened where it went: its places go separate ways.
void PendingNotices::splitMove(List::iterator move) {
  const Place from = *std::exchange(move->from, std::nullopt);
  const Pending source{.place = from, .before = move->before, .kindBefore = move->kindBefore, .from = {}};
  move->before = 0;
  const auto known = index_.find(from);
  if (known != index_.end() && known->second != move) {
    known->second->before = source.before;
    known->second->kindBefore = source.kindBefore;
  } else {
    index_[from] = places_.insert(move, source);
  }
}

void PendingNotices::remove(List::iterator pending) {
  index_.erase(pending->place);
  const auto from = pending->from ? index_.find(*pending->from) : index_.end();
  if (from != index_.end() && from->second == pending) index_.erase(from);
  places_.erase(pending);
}

std::vector<PendingNotices::Pending> PendingNotices::take(std::size_t most) {
  std::vector<Pending> taken;
  while (!places_.empty() && most-- > 0) {
    const Pending& next = places_.front();
    if (!taken.empty() &&
        (next.from || taken.front().from || next.place.folder != taken.front().place.folder)) {
      break;
    }
    taken.push_back(next);
    remove(places_.begin());
  }
  return taken;
}

std::vector<Notice> PendingNotices::noticesFor(const std::vector<Pending>& places, Replica& replica) {
  std::vector<Notice> notices;
  for (const Pending& place : places) {
    place.from ? tellMove(place, replica, notices) : tell(place, replica, notices);
  }
  return notices;
}

void PendingNotices::tell(const Pending& pending, Replica& replica, std::vector<Notice>& notices) {
  const Replica::LookupResult now = replica.lookup(pending.place.folder, pending.place.name);
  if (now.presence == Replica::Presence::unknown) return;
  const bool there = now.presence == Replica::Presence::found;
  const bool same = there && now.node.inode == pending.before;
  if (pending.before != 0 && !same) tellGone(pending.place, pending.before, pending.kindBefore, notices);
  if (there && !same) return tellAppeared(pending.place, now.node, notices);
  if (!same) return;
  Notice notice{.node = now.node.kind, .inode = now.node.inode, .place = pending.place, .from = {}};
  for (const auto kind : {Notice::Kind::content, Notice::Kind::attributes}) {
    if (kind == Notice::Kind::content && !pending.content) continue;
    if (kind == Notice::Kind::attributes && !pending.content && !pending.attributes) continue;
    notice.kind = kind;
    notices.push_back(notice);
  }
}

void PendingNotices::tellMove(const Pending& pending, Replica& replica, std::vector<Notice>& notices) {
  const Replica::LookupResult now = replica.lookup(pending.place.folder, pending.place.name);
  if (now.presence != Replica::Presence::found || now.node.inode != pending.before) return;
  notices.push_back({.kind = Notice::Kind::moved,
                     .node = now.node.kind,
                     .inode = pending.before,
                     .place = pending.place,
                     .from = *pending.from});
}

}  // namespace zelto
