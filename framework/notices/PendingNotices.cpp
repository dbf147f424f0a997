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
  const Inode heard = before;
  if (untold_.erase(place) > 0) before = 0;
  places_.push_back({.place = place, .before = before, .kindBefore = kind, .heard = heard, .from = {}});
  index_.emplace(place, std::prev(places_.end()));
  return &places_.back();
}

void PendingNotices::appeared(const ReplicaDelta::Name& what) {
  const Place place{what.parent, what.name};
  if (isSourceOfMove(place)) index_.erase(place);  // told of after the move, which leaves the place free
  if (Pending* const pending = at(place, 0, NodeKind::file)) pending->heard = what.inode;
}

void PendingNotices::gone(const ReplicaDelta::Name& what) {
  if (Pending* const pending = at({what.parent, what.name}, what.inode, what.kind)) pending->heard = 0;
}

bool PendingNotices::isAtMostTouched(const ReplicaDelta::Name& what) const {
  const Place place{what.parent, what.name};
  const auto known = index_.find(place);
  if (known == index_.end()) return !untold_.contains(place);
  const Pending& pending = *known->second;
  return !pending.from && pending.before == what.inode && pending.heard == what.inode;
}

void PendingNotices::moved(const ReplicaDelta::Name& from, const ReplicaDelta::Name& to) {
  if (full()) return;
  Pending pending{.place = {to.parent, to.name},
                  .before = to.inode,
                  .kindBefore = to.kind,
                  .from = Place{from.parent, from.name}};
  for (const Place& place : {*pending.from, pending.place}) {
    const auto touched = index_.find(place);
    if (touched == index_.end()) continue;
    pending.content |= touched->second->content;
    pending.attributes |= touched->second->attributes;
    remove(touched->second);
  }
  places_.push_back(std::move(pending));
  const auto move = std::prev(places_.end());
  index_.emplace(move->place, move);
  index_.emplace(*move->from, move);
}

void PendingNotices::changed(const NodeInfo& node, std::string name, bool content) {
  const Place place{node.parent, std::move(name)};
  const auto known = index_.find(place);
  const bool moved =
      known != index_.end() && known->second->place == place && known->second->before == node.inode;
  Pending* const pending = moved ? &*known->second : at(place, node.inode, node.kind);
  if (pending == nullptr) return;
  (content ? pending->content : pending->attributes) = true;
}

// Something else happened where it went: its places go separate ways.
void PendingNotices::splitMove(List::iterator move) {
  const Place from = *std::exchange(move->from, std::nullopt);
  const Pending source{.place = from, .before = move->before, .kindBefore = move->kindBefore, .from = {}};
  move->heard = std::exchange(move->before, 0);
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

void PendingNotices::leaveUntold(const std::vector<Place>& places) {
  for (const Place& place : places) {
    const auto known = index_.find(place);
    if (known == index_.end()) {
      if (untold_.size() < kMost) untold_.insert(place);
    } else if (!known->second->from) {  // heard meanwhile
      known->second->before = 0;
    }
  }
}

PendingNotices::Told PendingNotices::noticesFor(const std::vector<Pending>& places, Replica& replica) {
  Told told;
  for (const Pending& place : places) {
    place.from ? tellMove(place, replica, told.notices) : tell(place, replica, told);
  }
  return told;
}

// What the replica has done by now and was not heard of yet is told when it is heard.
void PendingNotices::tell(const Pending& pending, Replica& replica, Told& told) {
  const Replica::LookupResult now = replica.lookup(pending.place.folder, pending.place.name);
  if (now.presence == Replica::Presence::unknown) return;
  const Inode inode = now.presence == Replica::Presence::found ? now.node.inode : 0;
  const bool stands = inode == pending.heard;
  if (pending.before != pending.heard) {
    if (pending.before != 0) tellGone(pending.place, pending.before, pending.kindBefore, told.notices);
    if (pending.heard == 0) return;
    if (!stands) return told.untold.push_back(pending.place);
    tellAppeared(pending.place, now.node, told.notices);
  } else if (stands && inode != 0) {
    tellTouches(pending, now.node, told.notices);
  }
}

void PendingNotices::tellTouches(const Pending& pending, const NodeInfo& node, std::vector<Notice>& notices) {
  Notice notice{.node = node.kind, .inode = node.inode, .place = pending.place, .from = {}};
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
  tellTouches(pending, now.node, notices);
}

}  // namespace zelto
