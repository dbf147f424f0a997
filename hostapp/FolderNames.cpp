#include "hostapp/FolderNames.h"

#include <cerrno>
#include <memory>
#include <string_view>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace zelto {

namespace {

struct CloseDirectory {
  void operator()(DIR* directory) const { ::closedir(directory); }
};

bool isFolder(int parent, const dirent& entry) {
  if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_DIR;
  struct stat status {};
  return ::fstatat(parent, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

std::expected<FolderNames, int> namesIn(UniqueDescriptor folder) {
  const std::unique_ptr<DIR, CloseDirectory> directory(::fdopendir(folder.get()));
  if (!directory) return std::unexpected(errno);
  const int parent = folder.release();
  FolderNames names;
  for (;;) {
    errno = 0;
    const dirent* entry = ::readdir(directory.get());
    if (entry == nullptr) break;
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    (isFolder(parent, *entry) ? names.folders : names.others).emplace_back(name);
  }
  if (errno != 0) return std::unexpected(errno);
  return names;
}

}  // namespace zelto
