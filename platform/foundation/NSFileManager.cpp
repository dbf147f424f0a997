#include "platform/foundation/NSFileManager.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/foundation/FileCopy.h"
#include "platform/foundation/Path.h"
#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {
namespace {

constexpr mode_t kPrivate = 0700;
constexpr mode_t kDefault = 0777;
constexpr mode_t kNewFile = 0666;

enum CocoaCode : std::uint16_t {
  kFileNoSuchFileError = 4,
  kFileWriteUnknownError = 512,
  kFileWriteNoPermissionError = 513,
  kFileWriteFileExistsError = 516,
  kFileWriteOutOfSpaceError = 640,
};

CocoaCode cocoaCodeOf(int code) {
  switch (code) {
    case ENOENT:
    case ENOTDIR:
      return kFileNoSuchFileError;
    case EACCES:
    case EPERM:
    case EROFS:
      return kFileWriteNoPermissionError;
    case EEXIST:
    case ENOTEMPTY:
      return kFileWriteFileExistsError;
    case ENOSPC:
    case EDQUOT:
      return kFileWriteOutOfSpaceError;
    default:
      return kFileWriteUnknownError;
  }
}

NSError errorOf(int code, std::string_view action, const std::string& path) {
  const std::string reason = std::system_category().message(code);
  return {NSCocoaErrorDomain,
          cocoaCodeOf(code),
          {{NSLocalizedDescriptionKey, fmt::format("“{}” couldn’t be {}: {}.", path, action, reason)}}};
}

int renameWithoutReplacing(const std::string& from, const std::string& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // A file system without the flag, or a folder moved into itself, which the second call refuses as well.
  struct ::stat status {};
  if (::lstat(to.c_str(), &status) == 0) return EEXIST;
  return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

bool isDirectory(const std::string& path) {
  struct ::stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

int makeDirectory(const std::string& path, mode_t mode, bool withIntermediateDirectories) {
  if (::mkdir(path.c_str(), mode) == 0) return 0;
  const int code = errno;
  if (!withIntermediateDirectories) return code;
  if (code == EEXIST) return isDirectory(path) ? 0 : EEXIST;
  const std::string parent = stringByDeletingLastPathComponent(path);
  if (code != ENOENT || parent.empty() || parent == path) return code;
  if (const int failed = makeDirectory(parent, mode, true); failed != 0) return failed;
  return ::mkdir(path.c_str(), mode) == 0 || (errno == EEXIST && isDirectory(path)) ? 0 : errno;
}

// An identifier is one component of a path.
bool isUsableIdentifier(const std::string& identifier) {
  return !identifier.empty() && identifier != "." && identifier != ".." &&
         identifier.find('/') == std::string::npos && identifier.find('\0') == std::string::npos;
}

}  // namespace

NSFileManager& NSFileManager::defaultManager() {
  static NSFileManager manager;
  return manager;
}

std::optional<NSError> NSFileManager::linkItem(const NSURL& from, const NSURL& to) {
  if (::linkat(AT_FDCWD, from.path().c_str(), AT_FDCWD, to.path().c_str(), 0) == 0) return std::nullopt;
  return errorOf(errno, fmt::format("linked to “{}”", to.path()), from.path());
}

std::optional<NSError> NSFileManager::moveItem(const NSURL& from, const NSURL& to) {
  int code = renameWithoutReplacing(from.path(), to.path());
  if (code == EXDEV) code = copyThenRemove(from.path(), to.path());
  if (code == 0) return std::nullopt;
  return errorOf(code, fmt::format("moved to “{}”", to.path()), from.path());
}

std::optional<NSError> NSFileManager::createDirectory(const NSURL& url, bool withIntermediateDirectories) {
  const int code = makeDirectory(url.path(), kDefault, withIntermediateDirectories);
  return code == 0 ? std::nullopt : std::optional(errorOf(code, "created", url.path()));
}

std::optional<NSError> NSFileManager::removeItem(const NSURL& url) {
  std::error_code code;
  const auto count = std::filesystem::remove_all(url.path(), code);
  if (!code && count == 0) code.assign(ENOENT, std::system_category());
  return code ? std::optional(errorOf(code.value(), "removed", url.path())) : std::nullopt;
}

bool NSFileManager::fileExists(const NSURL& url) {
  struct ::stat status {};
  return ::stat(url.path().c_str(), &status) == 0;
}

bool NSFileManager::fileExists(const NSURL& url, bool& isDirectory) {
  struct ::stat status {};
  const bool exists = ::stat(url.path().c_str(), &status) == 0;
  isDirectory = exists && S_ISDIR(status.st_mode);
  return exists;
}

bool NSFileManager::createFileAtPath(const std::string& path) {
  const UniqueDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kNewFile));
  return static_cast<bool>(file);
}

std::optional<NSURL> NSFileManager::containerURLForSecurityApplicationGroupIdentifier(
    const std::string& identifier) {
  if (!isUsableIdentifier(identifier)) return std::nullopt;
  const std::string groups = stringByAppendingPathComponent(dataHome(), "groups");
  const std::string container = stringByAppendingPathComponent(groups, identifier);
  if (makeDirectory(container, kPrivate, true) != 0) return std::nullopt;
  return NSURL::fileURL(container);
}

}  // namespace zelto
