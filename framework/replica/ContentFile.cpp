#include "framework/replica/ContentFile.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>

#include "framework/replica/ContentStore.h"
#include "framework/replica/FileCopy.h"
#include "framework/replica/ReplicaFiles.h"

namespace zelto {
namespace {

constexpr int kFlags = O_RDWR | O_CLOEXEC | O_NOFOLLOW;

int setSize(int file, std::uint64_t size) {
  struct stat status {};
  if (::fstat(file, &status) != 0) return errno;
  if (static_cast<std::uint64_t>(status.st_size) == size) return 0;
  return ::ftruncate(file, static_cast<off_t>(size)) == 0 ? 0 : errno;
}

}  // namespace

ContentFile::ContentFile(std::shared_ptr<ContentStore> store, Inode inode, std::uint64_t generation,
                         std::uint64_t versionTag, std::uint64_t size, RangeSet ranges)
    : store_(std::move(store)),
      inode_(inode),
      generation_(generation),
      versionTag_(versionTag),
      size_(size),
      ranges_(std::move(ranges)) {}

ContentFile::~ContentFile() {
  const UniqueDescriptor closes(descriptor_.load());
  store_->released(*this);
  // Nothing of it was recorded: nobody would find the file again.
  if (closes && ranges_.empty() && !local()) ::unlink(store_->path(inode_, generation_).c_str());
}

bool ContentFile::covers(NSRange range) const {
  if (local()) return true;
  const std::lock_guard lock(mutex_);
  return ranges_.covers(range);
}

std::vector<NSRange> ContentFile::missing(NSRange range) const {
  const std::uint64_t size = this->size();
  if (range.location >= size || local()) return {};
  range.length = std::min(range.length, size - range.location);
  const std::lock_guard lock(mutex_);
  return ranges_.missing(range);
}

bool ContentFile::complete() const { return covers({0, size()}); }

std::uint64_t ContentFile::materialisedBytes() const {
  if (local()) return size();
  const std::lock_guard lock(mutex_);
  return ranges_.totalLength();
}

std::vector<NSRange> ContentFile::ranges() const {
  if (local()) return size() == 0 ? std::vector<NSRange>() : std::vector<NSRange>{{0, size()}};
  const std::lock_guard lock(mutex_);
  return ranges_.ranges();
}

std::optional<NSError> ContentFile::openKept() {
  const std::lock_guard lock(takeOverMutex_);
  if (descriptor() >= 0 || (materialisedBytes() == 0 && !local())) return {};
  const std::string path = ownPath();
  UniqueDescriptor file(::open(path.c_str(), kFlags));
  if (!file) return posixError(path, errno);
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) return posixError(path, errno);
  if (local()) {
    size_ = static_cast<std::uint64_t>(status.st_size);
    shared_ = status.st_nlink > 1;
  }
  if (static_cast<std::uint64_t>(status.st_size) != size()) return posixError(path, ENOENT);
  descriptor_.store(file.release(), std::memory_order_release);
  return {};
}

NSRange ContentFile::cut(NSRange range, std::uint64_t delivered) const {
  const std::uint64_t end = std::min(size(), delivered);
  if (range.location >= end) return {range.location, 0};
  return {range.location, std::min(range.length, end - range.location)};
}

// The file is ours from now on, unless it was detached in the meantime: then nobody else removes it.
int ContentFile::keep(UniqueDescriptor file) {
  if (detached()) {
    ::unlink(store_->path(inode_, generation_).c_str());
    return ECANCELED;
  }
  descriptor_.store(file.release(), std::memory_order_release);
  return 0;
}

// EXDEV: it lies on another volume.
int ContentFile::adopt(const std::string& deliveredPath) {
  UniqueDescriptor delivered(::open(deliveredPath.c_str(), kFlags));
  if (!delivered) return errno;
  const std::string path = store_->madePath(inode_, generation_);
  if (::rename(deliveredPath.c_str(), path.c_str()) != 0) return errno;
  if (const int code = setSize(delivered.get(), size())) {
    ::unlink(path.c_str());
    return code;
  }
  return keep(std::move(delivered));
}

int ContentFile::makeEmpty() {
  const std::string path = store_->madePath(inode_, generation_);
  UniqueDescriptor file(::open(path.c_str(), kFlags | O_CREAT | O_TRUNC, 0600));
  if (!file) return errno;
  if (const int code = setSize(file.get(), size())) return code;
  return keep(std::move(file));
}

int ContentFile::takeIn(const std::string& deliveredPath, NSRange range) {
  UniqueDescriptor delivered(::open(deliveredPath.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  struct stat status {};
  if (!delivered || ::fstat(delivered.get(), &status) != 0) return errno;
  if (!S_ISREG(status.st_mode)) return EINVAL;
  range = cut(range, static_cast<std::uint64_t>(status.st_size));

  if (descriptor() < 0) {
    // A file with another name somewhere is not ours alone: what is written here must not show there.
    const bool alone = status.st_nlink == 1 && ::fchmod(delivered.get(), 0600) == 0;
    const int code = alone ? adopt(deliveredPath) : EXDEV;
    if (code == 0) return note(range);
    if (code != EXDEV) return code;
    if (const int made = makeEmpty()) return made;
  }
  if (const int code = copyRange(delivered.get(), descriptor(), range)) return code;
  return note(range);
}

int ContentFile::note(NSRange range) {
  const std::lock_guard lock(mutex_);
  ranges_.add(range);
  store_->record(*this, ranges_);
  return 0;
}

std::optional<NSError> ContentFile::takeOver(const std::string& deliveredPath, NSRange range) {
  const std::lock_guard lock(takeOverMutex_);
  // What is local is complete already.
  const int code = detached() ? ECANCELED : local() ? 0 : takeIn(deliveredPath, range);
  ::unlink(deliveredPath.c_str());
  if (code != 0) return posixError(deliveredPath, code);
  if (detached()) return posixError(deliveredPath, ECANCELED);
  return {};
}

}  // namespace zelto
