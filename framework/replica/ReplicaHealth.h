#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "framework/replica/Journal.h"
#include "framework/replica/ReplicaFiles.h"

namespace zelto {

// What becomes of a replica whose database turns out to be damaged while it is in use: it is set aside, the
// process serves on from memory, and the next one begins anew.
// THREAD: any.
class ReplicaHealth {
 public:
  ReplicaHealth(ReplicaFiles files, std::shared_ptr<Journal> journal)
      : files_(std::move(files)), journal_(std::move(journal)) {}

  void condemn(const std::string& reason) {
    if (condemned_.exchange(true)) return;
    reportLine(files_.database() + " is set aside: " + reason);
    journal_->abandon();
    files_.setDatabaseAside();
  }
  bool condemned() const { return condemned_.load(); }

 private:
  const ReplicaFiles files_;
  const std::shared_ptr<Journal> journal_;
  std::atomic<bool> condemned_ = false;
};

// How many items there are, in memory or not; the root does not count.
struct ReplicaCounters {
  std::atomic<std::int64_t> items = 0;
  std::atomic<std::int64_t> folders = 0;
};

}  // namespace zelto
