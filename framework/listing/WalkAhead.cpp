#include "framework/listing/WalkAhead.h"

#include <algorithm>
#include <utility>

namespace zelto {
namespace {

constexpr std::size_t kMostAhead = 1024;

// A listing that is of use when it comes, and is not asked for again.
class Nobody final : public Waiter {
 public:
  void done(int) override {}
  bool gaveUp() const override { return true; }
};

}  // namespace

void WalkAhead::openedUnlisted(const NodeInfo& folder) {
  if (!walks(folder)) return;
  static const auto nobody = std::make_shared<Nobody>();
  for (const Inode sibling : next(folder)) lister_.listAhead(sibling, nobody);
}

bool WalkAhead::wasAhead(Inode folder) {
  const std::lock_guard lock(mutex_);
  return ahead_.erase(folder) != 0;
}

bool WalkAhead::walks(const NodeInfo& folder) {
  const std::lock_guard lock(mutex_);
  return std::exchange(parent_, folder.parent) == folder.parent;
}

std::vector<Inode> WalkAhead::next(const NodeInfo& folder) {
  const auto siblings = replica_.children(folder.parent);
  std::vector<Inode> found;
  if (!siblings) return found;
  const std::lock_guard lock(mutex_);
  const auto hint = siblings->begin() + static_cast<std::ptrdiff_t>(std::min(place_, siblings->size()));
  auto at = std::find(hint, siblings->end(), folder.inode);
  if (at == siblings->end()) at = std::find(siblings->begin(), hint, folder.inode);
  place_ = static_cast<std::size_t>(at - siblings->begin());
  for (std::size_t seen = 0; at != siblings->end() && ++at != siblings->end() && seen < kDepth; ++seen) {
    const auto sibling = replica_.node(*at);
    if (sibling && sibling->kind == NodeKind::folder && !sibling->listed) found.push_back(*at);
  }
  if (ahead_.size() > kMostAhead) ahead_.clear();  // walks that were broken off
  ahead_.insert(found.begin(), found.end());
  return found;
}

}  // namespace zelto
