#pragma once

#include <cstdint>
#include <mutex>
#include <unordered_map>

#include "framework/replica/Node.h"

namespace zelto {

// The folders that the kernel holds a node of. Whoever watches a folder, or has it open, keeps its node in
// the kernel; so nobody watches one that is not here. Counted as the kernel counts: each answer that names a
// node, until it says how many of them it forgets. An answer that the kernel did not take counts, too: then a
// folder is here longer than it needs to be. THREAD: any.
class KnownFolders {
 public:
  void told(Inode folder) {
    const std::lock_guard lock(mutex_);
    ++folders_[folder];
  }
  // `node` may be any node's.
  void forgotten(std::uint64_t node, std::uint64_t count) {
    const std::lock_guard lock(mutex_);
    const auto it = folders_.find(node);
    if (it == folders_.end()) return;
    if (it->second <= count) {
      folders_.erase(it);
    } else {
      it->second -= count;
    }
  }
  bool contains(Inode folder) const {
    const std::lock_guard lock(mutex_);
    return folder == kRootInode || folders_.contains(folder);
  }

 private:
  mutable std::mutex mutex_;
  std::unordered_map<Inode, std::uint64_t> folders_;
};

}  // namespace zelto
