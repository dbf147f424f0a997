#include "hostapp/LocalFile.h"

#include <cerrno>

#include <unistd.h>

#include "hostapp/BackendErrors.h"
#include "hostapp/DescriptorCopy.h"

namespace zelto {

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
  const auto copied = copyStretch(file_.get(), descriptor, offset, length);
  if (!copied) return std::unexpected(backendError(copied.error(), path_));
  return *copied;
}

}  // namespace zelto
