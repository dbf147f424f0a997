#pragma once

#include <mutex>
#include <set>
#include <string>

namespace zelto {

// A set of paths. THREAD: any.
class PathSet {
 public:
  bool contains(const std::string& path) const {
    const std::lock_guard lock(mutex_);
    return paths_.contains(path);
  }

  void insert(const std::string& path) {
    const std::lock_guard lock(mutex_);
    paths_.insert(path);
  }

  void erase(const std::string& path) {
    const std::lock_guard lock(mutex_);
    paths_.erase(path);
  }

 private:
  mutable std::mutex mutex_;
  std::set<std::string> paths_;
};

}  // namespace zelto
