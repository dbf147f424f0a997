#pragma once

#include <cstdint>
#include <expected>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "framework/replica/LocalEntry.h"
#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {

// The file in which local changes are noted before they are made: for each node its latest entry counts. What
// is appended has reached the system when the call returns, so that it outlives this process; `sync` brings
// it to the disk itself. THREAD: the owner locks.
class LocalLog {
 public:
  // One line of the log: a node's entry as it is from now on, or that there is none any more.
  struct Record {
    Inode inode = 0;
    const LocalEntry* entry = nullptr;
  };

  explicit LocalLog(std::string path) : path_(std::move(path)) {}

  // Reads what an earlier process left, in the order of the changes. What a kill cut off, with all that was
  // noted together with it, is not there. ERRORS: errno values.
  std::expected<std::vector<LocalEntry>, int> read();
  // Replaces the file by one with these entries alone. ERRORS: errno values, 0 for none.
  int rewrite(const std::vector<const LocalEntry*>& entries);
  // All or nothing. ERRORS: errno values, 0 for none.
  int append(std::span<const Record> records);
  // A descriptor of its own for fdatasync outside the owner's lock.
  UniqueDescriptor duplicate() const;

  std::uint64_t bytes() const { return bytes_; }

 private:
  const std::string path_;
  UniqueDescriptor file_;
  std::uint64_t bytes_ = 0;
  bool damagedEnd_ = false;  // something half written could not be cut off
};

}  // namespace zelto
