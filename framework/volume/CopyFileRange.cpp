#include <algorithm>
#include <cerrno>

#include <unistd.h>

#include "framework/volume/FileHandle.h"
#include "framework/volume/Volume.h"

namespace zelto {
namespace {

// So that one copy does not keep a thread of the volume for long.
constexpr std::size_t kCopiedAtOnce = 64 << 20;

ContentFile::WriteResult copyBetween(const ContentFile& from, off_t at, ContentFile& to, off_t offset,
                                     std::size_t length) {
  return to.write(static_cast<std::uint64_t>(offset), [&](int descriptor) -> ContentFile::WriteResult {
    const ssize_t count = ::copy_file_range(from.descriptor(), &at, descriptor, &offset, length, 0);
    if (count < 0) return std::unexpected(errno == EXDEV ? EOPNOTSUPP : errno);
    return static_cast<std::size_t>(count);
  });
}

}  // namespace

// EOPNOTSUPP: the kernel reads and writes instead, which also fetches what is not here.
void volume::copyFileRange(fuse_req_t request, fuse_ino_t, off_t at, fuse_file_info* in, fuse_ino_t,
                           off_t offset, fuse_file_info* out, std::size_t length, int) {
  const auto from = FileHandle::of(in)->content();
  FileHandle& target = *FileHandle::of(out);
  const auto start = static_cast<std::uint64_t>(at);
  const std::uint64_t end = from->size();
  length = static_cast<std::size_t>(
      std::min({std::uint64_t{length}, std::uint64_t{kCopiedAtOnce}, start < end ? end - start : 0}));
  if (length == 0) {
    fuse_reply_write(request, 0);
    return;
  }
  if (target.writing() == nullptr || !from->covers({start, length})) {
    fuse_reply_err(request, EOPNOTSUPP);
    return;
  }
  const auto copied = copyBetween(*from, at, *target.writing(), offset, length);
  if (!copied) {
    fuse_reply_err(request, copied.error());
    return;
  }
  target.wrote();
  fuse_reply_write(request, *copied);
}

}  // namespace zelto
