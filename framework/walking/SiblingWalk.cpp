#include "framework/walking/SiblingWalk.h"

#include <algorithm>
#include <utility>

namespace zelto {
namespace {

constexpr std::size_t kMostForeseen = 1024;

}  // namespace

std::vector<Inode> SiblingWalk::opened(const NodeInfo& node, const Wanted& wanted) {
  std::vector<Inode> found;
  if (!walks(node)) return found;
  for (const NodeInfo& sibling : nextOf(node)) {
    if (wanted(sibling)) found.push_back(sibling.inode);
  }
  const std::lock_guard lock(mutex_);
  if (foreseen_.size() > kMostForeseen) foreseen_.clear();  // walks that were broken off
  foreseen_.insert(found.begin(), found.end());
  return found;
}

bool SiblingWalk::wasForeseen(Inode inode) {
  const std::lock_guard lock(mutex_);
  return foreseen_.erase(inode) != 0;
}

bool SiblingWalk::walks(const NodeInfo& node) {
  const std::lock_guard lock(mutex_);
  count_ = std::exchange(parent_, node.parent) == node.parent ? count_ + 1 : 1;
  return count_ >= begins_;
}

std::vector<NodeInfo> SiblingWalk::nextOf(const NodeInfo& node) {
  const auto siblings = replica_.children(node.parent);
  std::vector<NodeInfo> found;
  if (!siblings) return found;
  const Place place = placeOf(node, *siblings);
  std::size_t at = place.index;
  for (std::size_t i = 0; i < depth_; ++i) {
    if (place.backwards ? at == 0 : at + 1 >= siblings->size()) break;
    at = place.backwards ? at - 1 : at + 1;
    if (const auto sibling = replica_.node((*siblings)[at])) found.push_back(*sibling);
  }
  return found;
}

SiblingWalk::Place SiblingWalk::placeOf(const NodeInfo& node, const std::vector<Inode>& siblings) {
  const std::lock_guard lock(mutex_);
  // Near the last one mostly, on either side of it.
  const std::size_t from = last_ > depth_ ? std::min(last_ - depth_, siblings.size()) : 0;
  const auto hint = siblings.begin() + static_cast<std::ptrdiff_t>(from);
  auto at = std::find(hint, siblings.end(), node.inode);
  if (at == siblings.end()) at = std::find(siblings.begin(), hint, node.inode);
  const auto index = static_cast<std::size_t>(at - siblings.begin());
  return {.index = index, .backwards = index < std::exchange(last_, index)};
}

}  // namespace zelto
