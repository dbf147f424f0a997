#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "framework/replica/ContentFile.h"
#include "framework/replica/ContentStore.h"
#include "framework/replica/FileCopy.h"

namespace zelto {
namespace {

constexpr int kLocalFlags = O_RDWR | O_CLOEXEC | O_NOFOLLOW;

int copyWhole(int from, const std::string& path, UniqueDescriptor& copy) {
  struct stat status {};
  if (::fstat(from, &status) != 0) return errno;
  // What a killed process left there may be another name of the very file that is copied.
  ::unlink(path.c_str());
  copy = UniqueDescriptor(::open(path.c_str(), kLocalFlags | O_CREAT | O_EXCL, 0600));
  if (!copy) return errno;
  const auto size = static_cast<std::uint64_t>(status.st_size);
  int code = ::ftruncate(copy.get(), status.st_size) == 0 ? 0 : errno;
  if (code == 0 && size > 0) code = copyRange(from, copy.get(), {0, size});
  if (code != 0) ::unlink(path.c_str());
  return code;
}

}  // namespace

std::string ContentFile::ownPath() const {
  return local() ? store_->localPath(inode_) : store_->path(inode_, generation_);
}

int ContentFile::beginLocal() {
  const std::lock_guard lock(takeOverMutex_);
  UniqueDescriptor file(::open(store_->localPath(inode_).c_str(), kLocalFlags | O_CREAT | O_TRUNC, 0600));
  if (!file) return errno;
  size_ = 0;
  local_.store(true, std::memory_order_release);
  descriptor_.store(file.release(), std::memory_order_release);
  return 0;
}

int ContentFile::becomeLocal(bool keep) {
  const std::lock_guard lock(takeOverMutex_);
  if (local()) return 0;
  if (keep && !complete()) return EAGAIN;
  if (descriptor() < 0) {
    UniqueDescriptor file(::open(store_->localPath(inode_).c_str(), kLocalFlags | O_CREAT | O_TRUNC, 0600));
    if (!file) return errno;
    if (keep && ::ftruncate(file.get(), static_cast<off_t>(size())) != 0) return errno;
    descriptor_.store(file.release(), std::memory_order_release);
  } else if (::rename(ownPath().c_str(), store_->localPath(inode_).c_str()) != 0) {
    return errno;
  }
  local_.store(true, std::memory_order_release);
  return 0;
}

int ContentFile::comeBack(const std::string& path) {
  const std::lock_guard lock(takeOverMutex_);
  if (::rename(ownPath().c_str(), path.c_str()) != 0) return errno;
  {
    const std::lock_guard rangesLock(mutex_);
    ranges_ = RangeSet();
    if (size() > 0) ranges_.add({0, size()});
  }
  local_.store(false, std::memory_order_release);
  return 0;
}

int ContentFile::exportTo(const std::string& path) {
  const std::unique_lock lock(writeMutex_);
  if (::link(ownPath().c_str(), path.c_str()) == 0) {
    shared_.store(true);
    return 0;
  }
  if (errno == ENOSPC || errno == EDQUOT || errno == ENOENT) return errno;
  UniqueDescriptor copy;
  return copyWhole(descriptor(), path, copy);
}

// The descriptor keeps its number: who reads by it meanwhile reads the same bytes from one or the other.
int ContentFile::replaceByCopy() {
  const std::string path = ownPath(), copyPath = path + ".copy";
  UniqueDescriptor copy;
  if (const int code = copyWhole(descriptor(), copyPath, copy)) return code;
  const int placed = detached() ? ::unlink(copyPath.c_str()) : ::rename(copyPath.c_str(), path.c_str());
  if (placed != 0) return errno;
  return ::dup3(copy.get(), descriptor(), O_CLOEXEC) < 0 ? errno : 0;
}

int ContentFile::ownCopy() {
  const std::unique_lock lock(writeMutex_);
  struct stat status {};
  if (!shared_) return 0;
  if (::fstat(descriptor(), &status) != 0) return errno;
  const nlink_t ownNames = detached() ? 0 : 1;
  if (status.st_nlink > ownNames) {
    if (const int code = replaceByCopy()) return code;
  }
  shared_ = false;
  return 0;
}

ContentFile::WriteResult ContentFile::write(std::uint64_t offset,
                                            const std::function<WriteResult(int descriptor)>& write) {
  for (;;) {
    if (shared_) {
      if (const int code = ownCopy()) return std::unexpected(code);
    }
    const std::shared_lock lock(writeMutex_);
    if (shared_) continue;
    WriteResult done = write(descriptor());
    if (!done) return done;
    std::uint64_t size = size_.load();
    const std::uint64_t end = offset + *done;
    while (size < end && !size_.compare_exchange_weak(size, end)) continue;
    return done;
  }
}

int ContentFile::resize(std::uint64_t size) {
  for (;;) {
    if (shared_) {
      if (const int code = ownCopy()) return code;
    }
    const std::unique_lock lock(writeMutex_);
    if (shared_) continue;
    if (::ftruncate(descriptor(), static_cast<off_t>(size)) != 0) return errno;
    size_.store(size, std::memory_order_release);
    return 0;
  }
}

}  // namespace zelto
