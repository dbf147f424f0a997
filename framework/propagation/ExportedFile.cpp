#include "framework/propagation/ExportedFile.h"

#include <filesystem>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/foundation/UuidName.h"

namespace zelto {
namespace {

namespace fs = std::filesystem;

bool isFile(const fs::path& path, const struct stat& wanted) {
  struct stat found {};
  return ::lstat(path.c_str(), &found) == 0 && found.st_ino == wanted.st_ino && found.st_dev == wanted.st_dev;
}

}  // namespace

ExportedFile::ExportedFile(std::string directory)
    : directory_(std::move(directory)), path_(directory_ + "/" + newUuidName()) {}

ExportedFile::~ExportedFile() { ::unlink(path_.c_str()); }

void ExportedFile::written() { file_.reset(::open(path_.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC)); }

void ExportedFile::takeBack() {
  struct stat file {};
  if (!file_ || ::fstat(file_.get(), &file) != 0 || file.st_nlink == 0) return;
  std::error_code error;
  for (fs::directory_iterator entry(directory_, error), end; !error && entry != end; entry.increment(error)) {
    if (!isUuidName(entry->path().filename().string()) || !isFile(entry->path(), file)) continue;
    ::unlink(entry->path().c_str());
    return;
  }
}

}  // namespace zelto
