#include "framework/domain/GroupDirectory.h"

#include <cerrno>
#include <filesystem>

#include <fcntl.h>
#include <sys/file.h>

#include "platform/foundation/UuidName.h"

namespace zelto {
namespace {

namespace fs = std::filesystem;

void removeTransfers(const std::string& path) {
  std::error_code error;
  std::error_code ignored;
  for (fs::directory_iterator entry(path, error), end; !error && entry != end; entry.increment(error)) {
    const bool isFile = entry->symlink_status(ignored).type() == fs::file_type::regular;
    if (isFile && isUuidName(entry->path().filename().string())) fs::remove(entry->path(), ignored);
  }
}

}  // namespace

GroupDirectory::GroupDirectory(const std::string& path)
    : lock_(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (!lock_) return;
  if (::flock(lock_.get(), LOCK_EX | LOCK_NB) == 0) removeTransfers(path);
  // Between the two locks another one may come and remove files: there is none of ours yet.
  while (::flock(lock_.get(), LOCK_SH) != 0 && errno == EINTR) {
  }
}

}  // namespace zelto
