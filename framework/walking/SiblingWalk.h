#pragma once

#include <functional>
#include <mutex>
#include <unordered_set>
#include <vector>

#include "framework/replica/Replica.h"

namespace zelto {

// Notices a program that opens one child of a folder after the other, and tells which ones it will want
// next: onwards or backwards in the order in which the folder lists them.
// THREAD: any.
class SiblingWalk {
 public:
  using Wanted = std::function<bool(const NodeInfo&)>;

  // A walk is believed in from the `begins`th child of one folder on, and foreseen over `depth` children.
  SiblingWalk(Replica& replica, std::size_t begins, std::size_t depth)
      : replica_(replica), begins_(begins), depth_(depth) {}

  // A node was opened: those of the next children that `wanted` picks, or none while it is no walk.
  std::vector<Inode> opened(const NodeInfo& node, const Wanted& wanted);
  // Whether `opened` gave this node and it has not been asked about since; the walk goes on from it.
  bool wasForeseen(Inode inode);

 private:
  bool walks(const NodeInfo& node);
  std::vector<NodeInfo> nextOf(const NodeInfo& node);
  struct Place {
    std::size_t index;
    bool backwards;  // from the node opened before
  };
  Place placeOf(const NodeInfo& node, const std::vector<Inode>& siblings);

  Replica& replica_;
  const std::size_t begins_;
  const std::size_t depth_;
  std::mutex mutex_;
  Inode parent_ = 0;       // of the node opened last
  std::size_t count_ = 0;  // of nodes opened in it in a row
  std::size_t last_ = 0;   // its place among its siblings
  std::unordered_set<Inode> foreseen_;
};

}  // namespace zelto
