#include "transfer/ZeltoCacheUtils.h"

#include <sys/stat.h>

#include "platform/foundation/NSFileManager.h"
#include "platform/foundation/Path.h"
#include "platform/foundation/PropertyList.h"
#include "support/StringUtils.h"

namespace zelto {

namespace {

bool isCurrent(const struct ::stat& status, const ZeltoRemoteFile& file) {
  // A number is cut towards zero, and one that is too large is the largest there is.
  const PropertyListValue modified(file.modified ? file.modified->timeIntervalSince1970() : 0);
  return status.st_size == file.size && status.st_mtim.tv_sec >= modified.integerValue();
}

}  // namespace

const std::string& ZeltoCacheUtils::cachePath() {
  static const auto* const path =
      new std::string(stringByAppendingPathComponent(cachesDirectory(), "Zelto/cache.noindex"));
  return *path;
}

std::string ZeltoCacheUtils::cachePathForFile(const ZeltoRemoteFile& file, const ZeltoRemoteShare& share) {
  return stringByAppendingPathComponent(cachePath(),
                                        u_MD5(stringByAppendingPathComponent(share.name, file.path)));
}

bool ZeltoCacheUtils::checkForNonStaleCachedFileAtPath(const std::string& path, const ZeltoRemoteFile& file) {
  struct ::stat status {};
  // Past a NUL the system would not read: it would look at, and remove, something else.
  if (path.contains('\0') || ::stat(path.c_str(), &status) != 0) return false;
  if (isCurrent(status, file)) return true;
  NSFileManager::defaultManager().removeItem(NSURL::fileURL(path));
  return false;
}

std::optional<std::string> ZeltoCacheUtils::pathForNonStaleCachedFile(const ZeltoRemoteFile& file,
                                                                      const ZeltoRemoteShare& share) {
  auto path = cachePathForFile(file, share);
  return checkForNonStaleCachedFileAtPath(path, file) ? std::optional(std::move(path)) : std::nullopt;
}

}  // namespace zelto
