#pragma once

#include <mutex>
#include <unordered_map>

#include "framework/replica/Node.h"

namespace zelto {

// Whether the kernel may go on with the entries that it has of a folder. It is told of every change, but who
// has had the folder open since before may hand it older entries after that: so, after a change to a folder
// that is open, it is to ask anew each time until nobody has it open from before.
// THREAD: any.
class FolderCaches {
 public:
  // A folder is being opened. False: what the kernel has of it is to be dropped.
  bool opened(Inode folder) {
    const std::lock_guard lock(mutex_);
    Folder& known = folders_[folder];
    const bool keep = !known.changed;
    if (known.handles++ == 0) known.changed = false;
    return keep;
  }
  void closed(Inode folder) {
    const std::lock_guard lock(mutex_);
    const auto it = folders_.find(folder);
    if (it != folders_.end() && --it->second.handles == 0 && !it->second.changed) folders_.erase(it);
  }
  void changed(Inode folder) {
    const std::lock_guard lock(mutex_);
    const auto it = folders_.find(folder);
    if (it != folders_.end()) it->second.changed = true;
  }

 private:
  struct Folder {
    unsigned handles = 0;
    bool changed = false;
  };

  std::mutex mutex_;
  std::unordered_map<Inode, Folder> folders_;
};

}  // namespace zelto
