#include "hostapp/LocalStat.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <optional>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "platform/foundation/Unicode.h"

namespace zelto {

namespace {

std::vector<gid_t> groupsOfProcess() {
  const int count = ::getgroups(0, nullptr);
  std::vector<gid_t> groups(count > 0 ? static_cast<std::size_t>(count) : 0);
  if (count > 0) ::getgroups(count, groups.data());
  groups.push_back(::getegid());
  return groups;
}

bool isOwnGroup(gid_t group) {
  static const std::vector<gid_t> groups = groupsOfProcess();
  return std::find(groups.begin(), groups.end(), group) != groups.end();
}

// Whether this user may make and remove entries. A folder without any write bit is closed to everybody, the
// superuser as well: so a share is made read-only.
int refusalToWrite(int folder, const char* name, const struct stat& status) {
  if ((status.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0) return EACCES;
  return ::faccessat(folder, name, W_OK | X_OK, AT_EACCESS | AT_SYMLINK_NOFOLLOW) == 0 ? 0 : errno;
}

std::optional<EntryKind> kindOf(mode_t mode) {
  if (S_ISREG(mode)) return EntryKind::file;
  if (S_ISDIR(mode)) return EntryKind::folder;
  if (S_ISLNK(mode)) return EntryKind::symbolicLink;
  return std::nullopt;
}

std::optional<std::string> linkTarget(int folder, const std::string& name) {
  std::array<char, PATH_MAX> target;
  const ssize_t length = ::readlinkat(folder, name.c_str(), target.data(), target.size());
  if (length < 0) return std::nullopt;
  return std::string(target.data(), static_cast<std::size_t>(length));
}

}  // namespace

bool isUsableName(const std::string& name) { return !name.empty() && isValidUTF8(name); }

LocalStat::LocalStat(int folder) : folder_(folder) {
  struct stat status {};
  if (::fstat(folder, &status) != 0) return;
  inode_ = status.st_ino;
  refusal_ = refusalToWrite(folder, ".", status);
}

bool LocalStat::mayWriteFile(const struct stat& status) const {
  if (refusal_ != 0) return false;
  static const uid_t user = ::geteuid();  // asked for every entry of a listing
  mode_t bit = S_IWOTH;
  if (user == 0 || user == status.st_uid) {
    bit = S_IWUSR;
  } else if (isOwnGroup(status.st_gid)) {
    bit = S_IWGRP;
  }
  return (status.st_mode & bit) != 0;
}

bool LocalStat::mayWriteFolder(const std::string& name, const struct stat& status) const {
  return refusalToWrite(folder_, name.c_str(), status) == 0;
}

EntryStat LocalStat::made(const std::string& name, EntryKind kind, const struct stat& status) const {
  const bool folder = kind == EntryKind::folder;
  return {.kind = kind,
          .writable = folder ? mayWriteFolder(name, status) : mayWriteFile(status),
          .size = static_cast<std::uint64_t>(status.st_size),
          .modified = status.st_mtim,
          .changed = status.st_ctim,
          .inode = status.st_ino};
}

std::expected<BackendEntry, int> LocalStat::entry(const std::string& name) const {
  struct stat status {};
  if (::fstatat(folder_, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return std::unexpected(errno);
  const auto kind = kindOf(status.st_mode);
  if (!kind) return std::unexpected(ENOENT);
  BackendEntry found{name, made(name, *kind, status), ""};
  if (*kind == EntryKind::symbolicLink) {
    auto target = linkTarget(folder_, name);
    if (!target || !isUsableName(*target)) return std::unexpected(ENOENT);
    found.linkTarget = std::move(*target);
  }
  return found;
}

BackendEntry LocalStat::opened(const std::string& name, int descriptor) const {
  struct stat status {};
  ::fstat(descriptor, &status);
  const auto kind = kindOf(status.st_mode).value_or(EntryKind::file);
  BackendEntry found{name, made(name, kind, status), ""};
  if (kind == EntryKind::symbolicLink) found.linkTarget = linkTarget(descriptor, "").value_or("");
  return found;
}

}  // namespace zelto
