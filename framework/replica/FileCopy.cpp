#include "framework/replica/FileCopy.h"

#include <algorithm>
#include <cerrno>
#include <memory>

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace zelto {
namespace {

bool shared(int from, int to, NSRange range) {
  file_clone_range request{};
  request.src_fd = from;
  request.src_offset = request.dest_offset = range.location;
  request.src_length = range.length;
  return ::ioctl(to, FICLONERANGE, &request) == 0;
}

bool meansUnsupported(int code) {
  return code == EXDEV || code == EINVAL || code == ENOSYS || code == EOPNOTSUPP || code == EPERM ||
         code == ETXTBSY;
}

// One step of a copy by hand; the bytes moved, or -1 with errno.
ssize_t copyBlock(int from, int to, off_t at, std::size_t most, char* buffer) {
  const ssize_t got = ::pread(from, buffer, most, at);
  for (ssize_t done = 0; done < got;) {
    const ssize_t put = ::pwrite(to, buffer + done, static_cast<std::size_t>(got - done), at + done);
    if (put < 0) return -1;
    done += put;
  }
  return got;
}

int copyByHand(int from, int to, NSRange range) {
  constexpr std::uint64_t kBlock = 262144;
  const auto buffer = std::make_unique_for_overwrite<char[]>(kBlock);
  for (std::uint64_t at = range.location; at < range.end();) {
    const std::size_t most = std::min(kBlock, range.end() - at);
    const ssize_t moved = copyBlock(from, to, static_cast<off_t>(at), most, buffer.get());
    if (moved < 0 && errno == EINTR) continue;
    if (moved <= 0) return moved == 0 ? EIO : errno;
    at += static_cast<std::uint64_t>(moved);
  }
  return 0;
}

}  // namespace

int copyRange(int from, int to, NSRange range) {
  if (range.length == 0 || shared(from, to, range)) return 0;
  auto source = static_cast<off_t>(range.location), target = source;
  const auto end = static_cast<off_t>(range.end());
  while (source < end) {
    const ssize_t moved =
        ::copy_file_range(from, &source, to, &target, static_cast<std::size_t>(end - source), 0);
    if (moved > 0 || (moved < 0 && errno == EINTR)) continue;
    if (moved < 0 && !meansUnsupported(errno)) return errno;
    const auto at = static_cast<std::uint64_t>(source);
    return copyByHand(from, to, {at, range.end() - at});
  }
  return 0;
}

}  // namespace zelto
