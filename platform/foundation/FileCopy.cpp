#include "platform/foundation/FileCopy.h"

#include <array>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>

namespace zelto {
namespace {

namespace fs = std::filesystem;

void copyTimes(const std::string& from, const std::string& to) {
  struct ::stat status {};
  if (::lstat(from.c_str(), &status) != 0) return;
  const std::array times{status.st_atim, status.st_mtim};
  ::utimensat(AT_FDCWD, to.c_str(), times.data(), AT_SYMLINK_NOFOLLOW);
}

// Folders after their content, since filling a folder changes its time.
void copyTreeTimes(const fs::path& from, const fs::path& to) {
  std::error_code code;
  if (fs::is_directory(fs::symlink_status(from, code))) {
    for (fs::directory_iterator entry(from, code), end; !code && entry != end; entry.increment(code)) {
      copyTreeTimes(entry->path(), to / entry->path().filename());
    }
  }
  copyTimes(from, to);
}

}  // namespace

int copyThenRemove(const std::string& from, const std::string& to) {
  std::error_code code;
  if (fs::exists(fs::symlink_status(to, code))) return EEXIST;
  code.clear();
  fs::copy(from, to, fs::copy_options::recursive | fs::copy_options::copy_symlinks, code);
  std::error_code ignored;
  if (code) {
    fs::remove_all(to, ignored);
    return code.value();
  }
  copyTreeTimes(from, to);
  fs::remove_all(from, code);
  return code.value();
}

}  // namespace zelto
