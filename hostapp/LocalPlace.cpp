#include "hostapp/LocalPlace.h"

#include <cerrno>
#include <climits>

#include <fcntl.h>

#include "hostapp/BackendErrors.h"
#include "hostapp/LocalStat.h"
#include "hostapp/ReservedName.h"
#include "hostapp/TemporaryName.h"

namespace zelto {

bool isEntryName(const std::string& name) {
  return isRelativePath(name) && name.find('/') == std::string::npos && isUsableName(name) &&
         !isTemporaryName(name) && !isReservedName(name);
}

std::expected<LocalPlace, NSError> LocalPlace::open(const BeneathFolder& root, const std::string& path) {
  auto split = splitPath(path);
  if (!isEntryName(split.name)) return std::unexpected(writeError(EINVAL, path));
  if (split.name.size() > NAME_MAX) return std::unexpected(writeError(ENAMETOOLONG, path));
  if (hasReservedName(split.folder)) return std::unexpected(writeError(ENOENT, split.folder));
  auto folder = root.openFolder(split.folder, O_RDONLY);
  if (!folder) {
    const int code = folder.error() == EXDEV ? ENOENT : folder.error();
    return std::unexpected(writeError(code, code == ENAMETOOLONG ? path : split.folder));
  }
  if (const int refusal = LocalStat(folder->get()).writeRefusal(); refusal != 0) {
    return std::unexpected(writeError(refusal, path));
  }
  return LocalPlace{std::move(*folder), std::move(split.name), path};
}

std::expected<UniqueDescriptor, int> LocalPlace::look() const {
  UniqueDescriptor found(::openat(folder.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  if (!found) return std::unexpected(errno);
  return found;
}

BackendEntry LocalPlace::entry(int descriptor) const {
  return LocalStat(folder.get()).opened(name, descriptor);
}

}  // namespace zelto
