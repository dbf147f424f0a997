#pragma once

#include <expected>
#include <string>

#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {

// Content that is not complete yet lies under a name of its own in the folder that it is for: a fixed
// beginning and a UUID. Nothing of such a name is ever shown, watched or served, and nobody can give one to
// an item. Whoever fills one holds a lock on it (flock), so that what a killed process has left is told from
// what another process is working on.
bool isTemporaryName(const std::string& name);

// A hidden file or folder in the making. Dropped, a file is removed; a folder is left to its maker.
class TemporaryEntry {
 public:
  // ERRORS: errno values. BLOCKS: on the disk.
  static std::expected<TemporaryEntry, int> makeFile(int folder);
  static std::expected<TemporaryEntry, int> makeFolder(int folder);
  TemporaryEntry(TemporaryEntry&&) = default;
  TemporaryEntry& operator=(TemporaryEntry&&) = delete;
  // REQUIRES: the descriptor given to the maker is still open.
  ~TemporaryEntry();

  int descriptor() const { return descriptor_.get(); }
  const std::string& name() const { return name_; }
  // It has another name now, or is gone.
  void release() { isFile_ = false; }

 private:
  TemporaryEntry(int folder, std::string name, UniqueDescriptor descriptor, bool isFile)
      : folder_(folder), name_(std::move(name)), descriptor_(std::move(descriptor)), isFile_(isFile) {}

  int folder_;
  std::string name_;
  UniqueDescriptor descriptor_;
  bool isFile_;
};

// Whether nobody works on this hidden entry any more. The lock is the caller's until the descriptor is
// closed.
std::expected<UniqueDescriptor, int> takeOverTemporary(int folder, const std::string& name);

}  // namespace zelto
