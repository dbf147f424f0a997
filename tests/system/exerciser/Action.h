#pragma once

#include <cstdint>
#include <string>

#include <sys/types.h>

namespace zelto::test {

enum class Verb : std::uint8_t {
  write,
  append,
  read,
  truncate,
  writeMapped,
  readMapped,
  rename,
  renameToFree,
  unlink,
  mkdir,
  rmdir,
  link,
  symlink,
  setDates,
  chmod,
  setAttribute,
  removeAttribute,
  list,
  stat,
  // by one of a few open handles
  open,
  writeBy,
  readBy,
  truncateBy,
  punchBy,
  syncBy,
  closeBy,
};

// One operation of a program with all that it is about; paths are relative to the tree that is worked on.
// Whatever else goes wrong, one that fails has changed nothing.
struct Action {
  Verb verb = Verb::stat;
  std::string path, other;  // other: a rename's destination, a link's target
  int slot = 0;
  int flags = 0;
  mode_t mode = 0644;
  off_t offset = 0;
  std::size_t length = 0;
  unsigned stamp = 0;  // what the bytes, dates and values are made from
};

std::string describe(const Action& action);

}  // namespace zelto::test
