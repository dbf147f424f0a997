#include "hostapp/TemporaryName.h"

#include <cerrno>
#include <string_view>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/foundation/UuidName.h"

namespace zelto {

namespace {

// False when somebody who cleaned up was faster than the lock.
bool isStillThere(int descriptor) {
  ::flock(descriptor, LOCK_EX);
  struct stat status {};
  return ::fstat(descriptor, &status) == 0 && status.st_nlink > 0;
}

UniqueDescriptor newFile(int folder, const std::string& name) {
  constexpr int kFlags = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  return UniqueDescriptor(::openat(folder, name.c_str(), kFlags, 0644));
}

}  // namespace

bool isTemporaryName(const std::string& name) { return isUnfinishedName(name); }

std::expected<TemporaryEntry, int> TemporaryEntry::makeFile(int folder) {
  for (;;) {
    const std::string name = std::string(kUnfinishedPrefix) + newUuidName();
    auto made = newFile(folder, name);
    if (!made) return std::unexpected(errno);
    if (isStillThere(made.get())) return TemporaryEntry(folder, name, std::move(made), true);
  }
}

std::expected<TemporaryEntry, int> TemporaryEntry::makeFolder(int folder) {
  for (;;) {
    const std::string name = std::string(kUnfinishedPrefix) + newUuidName();
    if (::mkdirat(folder, name.c_str(), 0700) != 0) return std::unexpected(errno);
    UniqueDescriptor made(::openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    // Whoever cleans up may be faster than the open, or than the lock.
    if (!made && errno != ENOENT) return std::unexpected(errno);
    if (made && isStillThere(made.get())) return TemporaryEntry(folder, name, std::move(made), false);
  }
}

TemporaryEntry::~TemporaryEntry() {
  // A moved-from one has no descriptor any more.
  if (isFile_ && descriptor_) ::unlinkat(folder_, name_.c_str(), 0);
}

std::expected<UniqueDescriptor, int> takeOverTemporary(int folder, const std::string& name) {
  UniqueDescriptor left(::openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!left || ::flock(left.get(), LOCK_EX | LOCK_NB) != 0) return std::unexpected(errno);
  return left;
}

}  // namespace zelto
