#pragma once

#include <expected>
#include <string>

#include <sys/stat.h>

#include "hostapp/ServerBackend.h"

namespace zelto {

// How one folder of this machine is looked into: what holds for all its entries is found out once.
class LocalStat {
 public:
  // REQUIRES: the descriptor is open on the folder for as long as this lives.
  explicit LocalStat(int folder);

  std::uint64_t inode() const { return inode_; }
  // The entry as it stands. ERRORS: errno values; ENOENT also for a kind that is not served.
  std::expected<BackendEntry, int> entry(const std::string& name) const;
  // The same of an entry that was opened. REQUIRES: a regular file.
  BackendEntry opened(const std::string& name, int descriptor) const;

 private:
  EntryStat made(EntryKind kind, const struct stat& status) const;
  bool mayWrite(const struct stat& status) const;

  int folder_;
  std::uint64_t inode_ = 0;
  bool readOnly_ = false;
  bool folderWritable_ = false;
};

// Whether the system's name can stand in an identifier: well-formed UTF-8, not empty.
bool isUsableName(const std::string& name);

}  // namespace zelto
