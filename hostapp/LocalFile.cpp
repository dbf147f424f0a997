#include "hostapp/LocalFile.h"

#include <algorithm>
#include <cerrno>

#include <unistd.h>

#include "hostapp/BackendErrors.h"

namespace zelto {

namespace {

constexpr std::size_t kBufferSize = 1 << 20;

std::expected<void, int> writeAll(int descriptor, std::span<const std::byte> bytes, std::uint64_t offset) {
  while (!bytes.empty()) {
    const ssize_t written = ::pwrite(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return std::unexpected(errno);
    bytes = bytes.subspan(static_cast<std::size_t>(written));
    offset += static_cast<std::uint64_t>(written);
  }
  return {};
}

// Errors with which the kernel says that these two files cannot be copied inside it.
bool wantsOtherWay(int code) {
  return code == EXDEV || code == EINVAL || code == ENOSYS || code == EOPNOTSUPP || code == EPERM;
}

}  // namespace

std::expected<BackendEntry, NSError> LocalFile::stat() {
  return LocalStat(folder_.get()).opened(name_, file_.get());
}

std::expected<std::size_t, NSError> LocalFile::readAt(std::span<std::byte> buffer, std::uint64_t offset) {
  std::size_t done = 0;
  while (done < buffer.size()) {
    const ssize_t count =
        ::pread(file_.get(), buffer.data() + done, buffer.size() - done, static_cast<off_t>(offset + done));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::unexpected(backendError(errno, path_));
    if (count == 0) break;
    done += static_cast<std::size_t>(count);
  }
  return done;
}

std::expected<std::uint64_t, NSError> LocalFile::copyTo(int descriptor, std::uint64_t offset,
                                                        std::uint64_t length) {
  std::uint64_t done = 0;
  while (done < length) {
    auto from = static_cast<off_t>(offset + done);
    auto to = from;
    const ssize_t count = ::copy_file_range(file_.get(), &from, descriptor, &to, length - done, 0);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && wantsOtherWay(errno)) {
      auto rest = copyThroughMemory(descriptor, offset + done, length - done);
      if (!rest) return rest;
      return done + *rest;
    }
    if (count < 0) return std::unexpected(backendError(errno, path_));
    if (count == 0) break;
    done += static_cast<std::uint64_t>(count);
  }
  return done;
}

std::expected<std::uint64_t, NSError> LocalFile::copyThroughMemory(int descriptor, std::uint64_t offset,
                                                                   std::uint64_t length) {
  std::vector<std::byte> buffer(std::min<std::uint64_t>(kBufferSize, length));
  std::uint64_t done = 0;
  while (done < length) {
    const auto wanted = std::min<std::uint64_t>(buffer.size(), length - done);
    const auto count = readAt(std::span(buffer).first(wanted), offset + done);
    if (!count) return std::unexpected(count.error());
    const auto written = writeAll(descriptor, std::span(buffer).first(*count), offset + done);
    if (!written) return std::unexpected(backendError(written.error(), path_));
    done += *count;
    if (*count < wanted) break;
  }
  return done;
}

}  // namespace zelto
