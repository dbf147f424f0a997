#pragma once

#include <cerrno>
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
  // Why entries of this folder cannot be made, replaced or removed: 0 when they can, else EACCES or EROFS.
  int writeRefusal() const { return refusal_; }
  // The entry as it stands. ERRORS: errno values; ENOENT also for a kind that is not served.
  std::expected<BackendEntry, int> entry(const std::string& name) const;
  // The same of an entry that was opened (O_PATH will do). REQUIRES: a file, folder or symbolic link.
  BackendEntry opened(const std::string& name, int descriptor) const;

 private:
  bool mayWriteFile(const struct stat& status) const;
  bool mayWriteFolder(const std::string& name, const struct stat& status) const;
  EntryStat made(const std::string& name, EntryKind kind, const struct stat& status) const;

  int folder_;
  std::uint64_t inode_ = 0;
  int refusal_ = EACCES;
};

// Whether the system's name can stand in an identifier: well-formed UTF-8, not empty.
bool isUsableName(const std::string& name);

}  // namespace zelto
