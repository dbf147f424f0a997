#include "framework/walking/LookupBurst.h"

#include <algorithm>

namespace zelto {
namespace {

constexpr std::size_t kMostRounds = 256;
constexpr std::size_t kMostLookedAt = 64;  // children for one answer

}  // namespace

std::vector<Inode> LookupBurst::lookedUp(Inode folder, bool asked, std::size_t most) {
  if (!wasForeseen(folder) && !asked) return {};
  const auto node = replica_.node(folder);
  if (!node || !isBurst(*node) || most == 0) return {};
  Round round = roundOf(*node);
  auto found = unlistedIn(round, most);
  keep(node->parent, round, found);
  return found;
}

bool LookupBurst::wasForeseen(Inode folder) {
  const std::lock_guard lock(mutex_);
  return foreseen_.erase(folder) != 0;
}

bool LookupBurst::isBurst(const NodeInfo& folder) {
  const auto now = now_();
  const std::lock_guard lock(mutex_);
  if (std::ranges::find(visits_, folder.inode, &Visit::folder) != visits_.end()) return false;
  if (!visits_.empty() && now - visits_.back().when > kTime) forget();
  // The way down one path counts once, however deep it goes.
  if (!visits_.empty() && visits_.back().folder == folder.parent) visits_.pop_back();
  visits_.push_back({folder.inode, now});
  if (visits_.size() > kFolders) visits_.pop_front();
  return visits_.size() == kFolders && now - visits_.front().when <= kTime && foreseen_.size() < kMostUnused;
}

void LookupBurst::forget() {
  visits_.clear();
  foreseen_.clear();
  rounds_.clear();
}

LookupBurst::Round LookupBurst::roundOf(const NodeInfo& folder) {
  {
    const std::lock_guard lock(mutex_);
    if (const auto known = rounds_.find(folder.parent); known != rounds_.end()) return known->second;
  }
  Round round;
  round.children = replica_.children(folder.parent);
  if (!round.children) return round;
  const auto at = std::ranges::find(*round.children, folder.inode);
  if (at == round.children->end()) return round;
  round.next = static_cast<std::size_t>(at - round.children->begin()) + 1;
  round.left = round.children->size() - 1;
  return round;
}

std::vector<Inode> LookupBurst::unlistedIn(Round& round, std::size_t most) {
  std::vector<Inode> found;
  for (std::size_t i = 0; i < kMostLookedAt && round.left > 0 && found.size() < most; ++i, --round.left) {
    const Inode child = (*round.children)[round.next++ % round.children->size()];
    const auto node = replica_.node(child);
    if (node && node->kind == NodeKind::folder && !node->listed) found.push_back(child);
  }
  return found;
}

void LookupBurst::keep(Inode parent, const Round& round, const std::vector<Inode>& found) {
  const std::lock_guard lock(mutex_);
  if (rounds_.size() >= kMostRounds) rounds_.clear();
  rounds_.insert_or_assign(parent, round);
  foreseen_.insert(found.begin(), found.end());
}

}  // namespace zelto
