#pragma once

#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

#include "hostapp/ServerBackend.h"

namespace zelto {

// Which state of single files the extension was last told of. The extension looks at a file before it
// replaces or removes it, and has no way to say which one it saw; what has changed between that look and the
// change itself is found by this. Remembers the last thousand or so. THREAD: any.
class ToldEntries {
 public:
  void told(const std::string& path, const EntryStat& stat) {
    const std::lock_guard lock(mutex_);
    const auto [at, isNew] = known_.insert_or_assign(path, stat);
    if (!isNew) return;
    order_.push_back(path);
    if (order_.size() <= kMost) return;
    known_.erase(order_.front());
    order_.pop_front();
  }

  // Another item stands there from now on, or none, also below: what was told of those paths says nothing of
  // it.
  void forget(const std::string& path) {
    const std::lock_guard lock(mutex_);
    const std::string below = path + "/";
    std::erase_if(known_,
                  [&](const auto& each) { return each.first == path || each.first.starts_with(below); });
    std::erase_if(order_, [this](const std::string& each) { return !known_.contains(each); });
  }

  // Absent when the extension has not looked lately.
  std::optional<EntryStat> last(const std::string& path) const {
    const std::lock_guard lock(mutex_);
    const auto at = known_.find(path);
    if (at == known_.end()) return std::nullopt;
    return at->second;
  }

 private:
  static constexpr std::size_t kMost = 1024;

  mutable std::mutex mutex_;
  std::unordered_map<std::string, EntryStat> known_;
  std::deque<std::string> order_;
};

// Whether an entry is still the one that was seen.
inline bool isSameState(const EntryStat& a, const EntryStat& b) {
  const auto same = [](const std::timespec& x, const std::timespec& y) {
    return x.tv_sec == y.tv_sec && x.tv_nsec == y.tv_nsec;
  };
  return a.kind == b.kind && a.inode == b.inode && a.size == b.size && same(a.modified, b.modified) &&
         same(a.changed, b.changed);
}

}  // namespace zelto
