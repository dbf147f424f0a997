#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <unordered_set>
#include <vector>

#include "hostapp/FolderSnapshot.h"
#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {

struct StoredFolder {
  std::string path;
  std::uint64_t inode = 0;
  std::vector<std::string> views;
  FolderSnapshot snapshot;
};

// The folders listed for the first time that the store does not hold yet, one record appended for each
// before its listing is answered: one small write, where a transaction of its own would cost more than
// the listing. Emptied once the store holds them all. A record that a killed host left half written is
// ignored, with all behind it.
// THREAD: any.
class FolderLog {
 public:
  // Without the file nothing is kept: the store's own delay is then what can be lost.
  explicit FolderLog(std::string path);

  // What an earlier run left.
  std::vector<StoredFolder> read() const;
  void append(const StoredFolder& folder);
  // The store holds these now.
  void stored(const std::vector<const StoredFolder*>& folders);
  // Nobody needs these any more.
  void dropped(const std::vector<std::string>& paths);

 private:
  void emptyIfDoneLocked();

  const std::string path_;
  std::mutex mutex_;
  UniqueDescriptor file_;
  std::unordered_set<std::string> waiting_;
};

}  // namespace zelto
