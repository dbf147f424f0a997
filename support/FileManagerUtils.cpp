#include "support/FileManagerUtils.h"

#include <cerrno>
#include <cmath>
#include <ctime>
#include <system_error>

#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/time.h>

#include "platform/foundation/NSFileManager.h"
#include "platform/foundation/UuidName.h"
#include "support/FileProviderLogger.h"

namespace zelto {

namespace {

using FileStatus = struct ::stat;
using Look = int (*)(const char*, FileStatus*);

std::string reasonOf(int code) { return std::generic_category().message(code); }

// No file can have such a path; the system would take what is before the NUL.
bool isPossible(const std::string& path) {
  if (!path.contains('\0')) return true;
  errno = ENOENT;
  return false;
}

std::optional<FileStatus> statusOf(const std::string& path, Look look) {
  FileStatus status{};
  return isPossible(path) && look(path.c_str(), &status) == 0 ? std::optional(status) : std::nullopt;
}

std::optional<std::string> pathOf(const std::optional<NSURL>& url) {
  return url ? std::optional(url->path()) : std::nullopt;
}

// One of the item's times. The tag is that of the messages.
std::optional<NSDate> timeForPath(const std::optional<std::string>& path, const char* tag,
                                  std::timespec FileStatus::*time) {
  auto& logger = FileProviderLogger::instance();
  if (!path) {
    logger.logWarn(fmt::format("FileManager[{}] Cannot stat empty url", tag));
    return std::nullopt;
  }
  if (const auto status = statusOf(*path, ::stat)) {
    return NSDate::since1970(static_cast<double>(((*status).*time).tv_sec));
  }
  const int code = errno;
  logger.logWarn(fmt::format("FileManager[{}] Failed to stat {}. Reason: {} (errno:{})", tag, *path,
                             reasonOf(code), code));
  return std::nullopt;
}

std::optional<NSError> badAddress(const char* what, const std::string& niceName) {
  return errorWithPOSIXCode(EFAULT, fmt::format("Cannot set modified date on nil {} for {}", what, niceName));
}

// Towards zero; a date that time_t cannot hold is the last one that it can.
std::time_t wholeSeconds(NSDate date) {
  constexpr double kLimit = 0x1p62;
  const double seconds = date.timeIntervalSince1970();
  if (std::isnan(seconds)) return 0;
  return static_cast<std::time_t>(std::fmax(-kLimit, std::fmin(kLimit, seconds)));
}

}  // namespace

NSURL u_tempFileUrl() { return NSURL::fileURL(temporaryDirectory()).appendingPathComponent(newUuidName()); }

std::int64_t u_fileSizeOfUrl(const std::optional<NSURL>& url) {
  const auto status = url ? statusOf(url->path(), ::lstat) : std::nullopt;
  return status ? std::int64_t{status->st_size} : 0;
}

std::optional<NSDate> u_accessTimeForUrl(const std::optional<NSURL>& url) {
  return u_accessTimeForPath(pathOf(url));
}

std::optional<NSDate> u_accessTimeForPath(const std::optional<std::string>& path) {
  return timeForPath(path, "ATIME", &FileStatus::st_atim);
}

std::optional<NSDate> u_modifiedDateForUrl(const std::optional<NSURL>& url) {
  return timeForPath(pathOf(url), "MTIME", &FileStatus::st_mtim);
}

std::optional<NSError> u_setModifiedDate(NSDate date, const std::optional<NSURL>& forUrl,
                                         const std::string& niceName) {
  if (!forUrl) return badAddress("url", niceName);
  return u_setModifiedDate(date, std::optional(forUrl->path()), niceName);
}

std::optional<NSError> u_setModifiedDate(NSDate date, const std::optional<std::string>& forPath,
                                         const std::string& niceName) {
  if (!forPath) return badAddress("path", niceName);
  const ::timeval times[] = {{std::time(nullptr), 0}, {wholeSeconds(date), 0}};
  if (isPossible(*forPath) && ::utimes(forPath->c_str(), times) == 0) return std::nullopt;
  const int code = errno;
  FileProviderLogger::instance().logWarn(
      fmt::format("FileManager[MTIME] Failed to set modified date {} for {} ({}). Reason: {} (errno:{})",
                  description(std::optional(date)), *forPath, niceName, reasonOf(code), code));
  return errorWithPOSIXCode(code, "Failed to set modified date");
}

}  // namespace zelto
