#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <unordered_map>

#include "framework/replica/Node.h"

namespace zelto {

// The kernel keeps one page cache per node number. So that bytes of two versions of a file never meet in
// it, a file whose content changes goes on under a new node number: the replica's number with a count of
// changes above it. Programs still see the replica's number; who has the old version open keeps the old
// node with its pages.
// THREAD: any.
class ContentEpochs {
 public:
  static Inode inodeOf(std::uint64_t node) { return node & kInodeMask; }

  std::uint64_t nodeFor(Inode inode) const {
    if (!any_.load(std::memory_order_acquire)) return inode;
    const std::lock_guard lock(mutex_);
    const auto it = epochs_.find(inode);
    return it == epochs_.end() ? inode : inode | it->second << kInodeBits;
  }
  bool isCurrent(std::uint64_t node) const { return nodeFor(inodeOf(node)) == node; }

  // Gives the node number that was current until now.
  std::uint64_t advance(Inode inode) {
    const std::uint64_t before = nodeFor(inode);
    const std::lock_guard lock(mutex_);
    std::uint64_t& epoch = epochs_[inode];
    epoch = (epoch + 1) & kEpochMask;
    any_.store(true, std::memory_order_release);
    return before;
  }

 private:
  static constexpr unsigned kInodeBits = 44;
  static constexpr std::uint64_t kInodeMask = (std::uint64_t{1} << kInodeBits) - 1;
  static constexpr std::uint64_t kEpochMask = (std::uint64_t{1} << (64 - kInodeBits)) - 1;

  std::atomic<bool> any_ = false;
  mutable std::mutex mutex_;
  std::unordered_map<Inode, std::uint64_t> epochs_;
};

}  // namespace zelto
