#include "hostapp/FileAttributes.h"

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace zelto {

namespace {

constexpr mode_t kAllBits = 07777;
constexpr mode_t kPlainMode = 0644;

// Also reaches files that are open for looking only.
std::string linkTo(int descriptor) { return "/proc/self/fd/" + std::to_string(descriptor); }

std::vector<std::string> attributeNames(const std::string& path) {
  const ssize_t size = ::listxattr(path.c_str(), nullptr, 0);
  std::string names(size > 0 ? static_cast<std::size_t>(size) : 0, '\0');
  const ssize_t length = names.empty() ? 0 : ::listxattr(path.c_str(), names.data(), names.size());
  std::vector<std::string> found;
  for (ssize_t at = 0; at < length; at += static_cast<ssize_t>(found.back().size()) + 1) {
    found.emplace_back(names.c_str() + at);
  }
  return found;
}

void copyAttribute(const std::string& from, int to, const std::string& name) {
  const ssize_t size = ::getxattr(from.c_str(), name.c_str(), nullptr, 0);
  if (size < 0) return;
  std::vector<char> value(static_cast<std::size_t>(size));
  const ssize_t length = ::getxattr(from.c_str(), name.c_str(), value.data(), value.size());
  if (length < 0) return;
  ::fsetxattr(to, name.c_str(), value.data(), static_cast<std::size_t>(length), 0);
}

// What was granted to the earlier content or computed from it, and ends with it.
bool isOfContent(const std::string& name) {
  return name == "security.capability" || name == "security.ima" || name == "security.evm";
}

// The process's mask can only be read by being changed, except here.
mode_t readMask() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("Umask:")) return static_cast<mode_t>(std::strtoul(line.c_str() + 6, nullptr, 8));
  }
  return 022;
}

}  // namespace

void adoptAttributes(int earlier, int file) {
  struct stat wanted {};
  struct stat given {};
  if (::fstat(earlier, &wanted) != 0 || ::fstat(file, &given) != 0) return;
  const bool sameOwner = wanted.st_uid == given.st_uid && wanted.st_gid == given.st_gid;
  // A user who cannot give files away may still give them to one of his groups.
  if (!sameOwner && ::fchown(file, wanted.st_uid, wanted.st_gid) != 0) {
    [[maybe_unused]] const int ignored = ::fchown(file, static_cast<uid_t>(-1), wanted.st_gid);
  }
  ::fchmod(file, wanted.st_mode & kAllBits);
  const auto from = linkTo(earlier);
  for (const auto& name : attributeNames(from)) {
    if (!isOfContent(name)) copyAttribute(from, file, name);
  }
}

void giveNewFileAttributes(int folder, int file) {
  static const mode_t mask = readMask();
  struct stat status {};
  if (::fstat(folder, &status) == 0 && (status.st_mode & S_ISGID) != 0) {
    [[maybe_unused]] const int ignored = ::fchown(file, static_cast<uid_t>(-1), status.st_gid);
  }
  ::fchmod(file, kPlainMode & ~mask);
}

bool handsDownAccessList(int folder) {
  return ::fgetxattr(folder, "system.posix_acl_default", nullptr, 0) > 0;
}

bool hasExtendedAttributes(int file) { return ::flistxattr(file, nullptr, 0) > 0; }

}  // namespace zelto
