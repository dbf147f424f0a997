#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "framework/replica/Replica.h"

namespace zelto {

// Notices names being looked up in many unlisted folders within a short time, in whatever order, and tells
// which folders beside them to list as well: a program is all over the tree then, and any folder there is as
// likely to be next as another. A folder looked into gives reason for a few, so a large folder is
// listed no further than the program's own looking around goes.
// THREAD: any.
class LookupBurst {
 public:
  using Clock = std::chrono::steady_clock;
  // A burst are so many folders in so much time; a distant server answers few listings in a second.
  static constexpr std::size_t kFolders = 16;
  static constexpr std::chrono::seconds kTime{2};
  // No more are told while so many have not been looked into.
  static constexpr std::size_t kMostUnused = 4096;

  explicit LookupBurst(Replica& replica, std::function<Clock::time_point()> now = Clock::now)
      : replica_(replica), now_(std::move(now)) {}

  // A name was looked up in a folder; `asked`: it is not listed yet. Gives at most `most` unlisted folders
  // beside it, or none while there is no burst. A folder counts only the first time.
  std::vector<Inode> lookedUp(Inode folder, bool asked, std::size_t most);

 private:
  struct Visit {
    Inode folder;
    Clock::time_point when;
  };
  // How far the children of one folder have been looked through, round from the first one looked
  // into.
  struct Round {
    std::shared_ptr<const std::vector<Inode>> children;
    std::size_t next = 0;
    std::size_t left = 0;
  };

  bool wasForeseen(Inode folder);
  bool isBurst(const NodeInfo& folder);
  void forget();
  Round roundOf(const NodeInfo& folder);
  std::vector<Inode> unlistedIn(Round& round, std::size_t most);
  void keep(Inode parent, const Round& round, const std::vector<Inode>& found);

  Replica& replica_;
  const std::function<Clock::time_point()> now_;
  std::mutex mutex_;
  std::deque<Visit> visits_;  // the last ones, no folder twice
  std::unordered_set<Inode> foreseen_;
  std::unordered_map<Inode, Round> rounds_;  // by the folder they go through
};

}  // namespace zelto
