#include "hostapp/DescriptorCopy.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <span>
#include <vector>

#include <unistd.h>

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

std::expected<std::uint64_t, int> copyThroughMemory(int from, int to, std::uint64_t offset,
                                                    std::uint64_t length) {
  std::vector<std::byte> buffer(std::min<std::uint64_t>(kBufferSize, length));
  std::uint64_t done = 0;
  while (done < length) {
    const auto wanted = std::min<std::uint64_t>(buffer.size(), length - done);
    const ssize_t count = ::pread(from, buffer.data(), wanted, static_cast<off_t>(offset + done));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::unexpected(errno);
    if (count == 0) break;
    const auto bytes = std::span(buffer).first(static_cast<std::size_t>(count));
    if (auto written = writeAll(to, bytes, offset + done); !written) return std::unexpected(written.error());
    done += bytes.size();
  }
  return done;
}

}  // namespace

std::expected<std::uint64_t, int> copyStretch(int from, int to, std::uint64_t offset, std::uint64_t length) {
  std::uint64_t done = 0;
  while (done < length) {
    auto source = static_cast<off_t>(offset + done);
    auto target = source;
    const ssize_t count = ::copy_file_range(from, &source, to, &target, length - done, 0);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && wantsOtherWay(errno)) {
      auto rest = copyThroughMemory(from, to, offset + done, length - done);
      if (!rest) return rest;
      return done + *rest;
    }
    if (count < 0) return std::unexpected(errno);
    if (count == 0) break;
    done += static_cast<std::uint64_t>(count);
  }
  return done;
}

}  // namespace zelto
