#include "hostapp/RenameAtomically.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace zelto {

int renameWithoutReplacing(int fromFolder, const std::string& from, int toFolder, const std::string& to) {
  if (::renameat2(fromFolder, from.c_str(), toFolder, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // A file system without that flag: a second link does not replace either. Folders cannot have one.
  if (::linkat(fromFolder, from.c_str(), toFolder, to.c_str(), 0) != 0) {
    return errno == EPERM || errno == EOPNOTSUPP ? EINVAL : errno;
  }
  return ::unlinkat(fromFolder, from.c_str(), 0) == 0 ? 0 : errno;
}

int renameReplacing(int fromFolder, const std::string& from, int toFolder, const std::string& to) {
  return ::renameat(fromFolder, from.c_str(), toFolder, to.c_str()) == 0 ? 0 : errno;
}

}  // namespace zelto
