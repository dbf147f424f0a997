#include "tests/system/exerciser/Side.h"

#include <algorithm>
#include <cerrno>
#include <vector>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "tests/system/TestSystem.h"

namespace zelto::test {
namespace {

std::string bytesOf(const Action& action) {
  std::string bytes(action.length, '\0');
  std::uint32_t state = action.stamp + 1;
  for (char& byte : bytes) byte = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
  return bytes;
}

// A digest, so that two results with much in them can be told in a line.
std::string summary(std::string_view bytes) {
  return fmt::format("{} bytes, {:x}", bytes.size(), std::hash<std::string_view>()(bytes));
}

std::string readAll(int descriptor, off_t offset, std::size_t length) {
  std::string bytes(length, '\0');
  const ssize_t count = ::pread(descriptor, bytes.data(), length, offset);
  return count < 0 ? told(count)
                   : summary(std::string_view(bytes).substr(0, static_cast<std::size_t>(count)));
}

// A shared mapping of the first bytes of a file.
class Mapping {
 public:
  Mapping(int descriptor, std::size_t length, int protection)
      : length_(length), start_(::mmap(nullptr, length, protection, MAP_SHARED, descriptor, 0)) {}
  ~Mapping() {
    if (there()) ::munmap(start_, length_);
  }
  Mapping(const Mapping&) = delete;
  Mapping& operator=(const Mapping&) = delete;

  bool there() const { return start_ != MAP_FAILED; }
  char* bytes() const { return static_cast<char*>(start_); }
  int sync() const { return ::msync(start_, length_, MS_SYNC); }

 private:
  const std::size_t length_;
  void* const start_;
};

}  // namespace

std::string told(long result) { return result < 0 ? fmt::format("errno {}", errno) : fmt::to_string(result); }

std::string Side::perform(const Action& action) {
  if (action.verb >= Verb::open) return byHandle(action);
  return action.verb >= Verb::rename ? onNames(action) : onFile(action);
}

std::string Side::onFile(const Action& action) {
  switch (action.verb) {
    case Verb::write:
      return write(action, action.flags);
    case Verb::append:
      return write(action, O_WRONLY | O_APPEND);
    case Verb::truncate:
      return told(::truncate(at(action.path).c_str(), action.offset));
    case Verb::writeMapped:
      return writeMapped(action);
    case Verb::readMapped:
      return readMapped(action);
    default:
      return read(action);
  }
}

std::string Side::onNames(const Action& action) {
  const std::string path = at(action.path);
  switch (action.verb) {
    case Verb::rename:
      return rename(action, 0);
    case Verb::renameToFree:
      return rename(action, RENAME_NOREPLACE);
    case Verb::unlink:
      return told(::unlink(path.c_str()));
    case Verb::mkdir:
      return told(::mkdir(path.c_str(), action.mode | S_IXUSR));
    case Verb::rmdir:
      return told(::rmdir(path.c_str()));
    case Verb::link:
      return link(action);
    case Verb::symlink:
      return told(::symlink(action.other.c_str(), path.c_str()));
    case Verb::setDates:
      return setDates(action);
    case Verb::chmod:
      return told(::chmod(path.c_str(), action.mode));
    case Verb::setAttribute:
    case Verb::removeAttribute:
      return setAttribute(action);
    case Verb::list:
      return list(action);
    default:
      return stat(action);
  }
}

std::string Side::byHandle(const Action& action) {
  const int descriptor = handle(action);
  switch (action.verb) {
    case Verb::open:
      return open(action);
    case Verb::writeBy: {
      const std::string bytes = bytesOf(action);
      return told(::pwrite(descriptor, bytes.data(), bytes.size(), action.offset));
    }
    case Verb::readBy:
      return readAll(descriptor, action.offset, action.length);
    case Verb::truncateBy:
      return told(::ftruncate(descriptor, action.offset));
    case Verb::punchBy:
      return told(::fallocate(descriptor, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, action.offset,
                              static_cast<off_t>(action.length) + 1));
    case Verb::syncBy:
      return told(::fsync(descriptor));
    default:
      handles_.at(static_cast<std::size_t>(action.slot)) = UniqueDescriptor();
      return "";
  }
}

UniqueDescriptor Side::opened(const Action& action, int flags) const {
  return UniqueDescriptor(::open(at(action.path).c_str(), flags | O_CLOEXEC, action.mode));
}

std::string Side::write(const Action& action, int flags) {
  const UniqueDescriptor file = opened(action, flags);
  if (!file) return told(-1);
  const std::string bytes = bytesOf(action);
  return (flags & O_APPEND) != 0 ? told(::write(file.get(), bytes.data(), bytes.size()))
                                 : told(::pwrite(file.get(), bytes.data(), bytes.size(), action.offset));
}

std::string Side::read(const Action& action) {
  const UniqueDescriptor file = opened(action, O_RDONLY);
  return file ? readAll(file.get(), action.offset, action.length) : told(-1);
}

// Extends the file where the mapping needs it.
std::string Side::writeMapped(const Action& action) {
  const UniqueDescriptor file = opened(action, O_RDWR);
  if (!file) return told(-1);
  const auto start = static_cast<std::size_t>(action.offset);
  const std::size_t end = start + action.length + 1;
  struct stat attributes {};
  if (::fstat(file.get(), &attributes) != 0) return told(-1);
  if (attributes.st_size < static_cast<off_t>(end) && ::ftruncate(file.get(), static_cast<off_t>(end)) != 0) {
    return told(-1);
  }
  const Mapping mapping(file.get(), end, PROT_READ | PROT_WRITE);
  if (!mapping.there()) return told(-1);
  std::ranges::copy(bytesOf(action), mapping.bytes() + start);
  return action.stamp % 2 == 0 ? told(mapping.sync()) : "";
}

std::string Side::readMapped(const Action& action) {
  const UniqueDescriptor file = opened(action, O_RDONLY);
  if (!file) return told(-1);
  struct stat attributes {};
  if (::fstat(file.get(), &attributes) != 0) return told(-1);
  if (!S_ISREG(attributes.st_mode)) return "no file";
  const auto size = static_cast<std::size_t>(attributes.st_size);
  const Mapping mapping(file.get(), size, PROT_READ);
  return mapping.there() ? summary({mapping.bytes(), size}) : told(-1);
}

std::string Side::rename(const Action& action, unsigned flags) {
  return told(::renameat2(AT_FDCWD, at(action.path).c_str(), AT_FDCWD, at(action.other).c_str(), flags));
}

std::string Side::link(const Action& action) {
  const std::string other = at(action.other);
  if (::link(at(action.path).c_str(), other.c_str()) != 0) return told(-1);
  if (!refusesLinks_) return "linked";
  ::unlink(other.c_str());
  return fmt::format("errno {}", EPERM);
}

std::string Side::setDates(const Action& action) {
  const std::timespec date{.tv_sec = 1'000'000'000 + static_cast<time_t>(action.stamp % 100'000'000),
                           .tv_nsec = static_cast<long>(action.stamp % 1000) * 1000};
  const std::timespec dates[] = {date, date};
  return told(::utimensat(AT_FDCWD, at(action.path).c_str(), dates, AT_SYMLINK_NOFOLLOW));
}

std::string Side::setAttribute(const Action& action) {
  const std::string name = "user.test." + std::to_string(action.stamp % 3),
                    value = std::to_string(action.stamp);
  const std::string path = at(action.path);
  // No file system lets links have any.
  std::error_code ignored;
  if (std::filesystem::is_symlink(path, ignored)) return "a link";
  return action.verb == Verb::setAttribute
             ? told(::setxattr(path.c_str(), name.c_str(), value.data(), value.size(), 0))
             : told(::removexattr(path.c_str(), name.c_str()));
}

std::string Side::list(const Action& action) {
  std::error_code error;
  std::vector<std::string> all;
  for (auto entry = std::filesystem::directory_iterator(at(action.path), error);
       !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    all.push_back(entry->path().filename().string());
  }
  std::ranges::sort(all);
  return error ? fmt::format("errno {}", error.value()) : fmt::format("{}", fmt::join(all, " "));
}

std::string Side::stat(const Action& action) {
  struct stat attributes {};
  if (::lstat(at(action.path).c_str(), &attributes) != 0) return told(-1);
  if (S_ISLNK(attributes.st_mode)) return std::filesystem::read_symlink(at(action.path)).string();
  return S_ISDIR(attributes.st_mode) ? fmt::format("{:o}", attributes.st_mode)
                                     : fmt::format("{:o} {}", attributes.st_mode, attributes.st_size);
}

std::string Side::open(const Action& action) {
  UniqueDescriptor file = opened(action, action.flags);
  if (!file) return told(-1);
  handles_.at(static_cast<std::size_t>(action.slot)) = std::move(file);
  return "open";
}

}  // namespace zelto::test
