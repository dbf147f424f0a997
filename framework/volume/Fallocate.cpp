#include <cerrno>

#include <fcntl.h>

#include "framework/volume/FileHandle.h"
#include "framework/volume/Volume.h"

namespace zelto {
namespace {

constexpr int kKnownModes = FALLOC_FL_KEEP_SIZE | FALLOC_FL_PUNCH_HOLE | FALLOC_FL_ZERO_RANGE;

// What counts as written makes the file longer, as the call does unless told not to.
int allocate(ContentFile& content, int mode, off_t offset, off_t length) {
  const bool keepsSize = (mode & FALLOC_FL_KEEP_SIZE) != 0;
  const off_t countedFrom = keepsSize ? 0 : offset;
  const auto counted = static_cast<std::size_t>(keepsSize ? 0 : length);
  const auto allocated =
      content.write(static_cast<std::uint64_t>(countedFrom), [&](int descriptor) -> ContentFile::WriteResult {
        if (::fallocate(descriptor, mode, offset, length) != 0) return std::unexpected(errno);
        return counted;
      });
  return allocated ? 0 : allocated.error();
}

}  // namespace

void volume::fallocate(fuse_req_t request, fuse_ino_t, int mode, off_t offset, off_t length,
                       fuse_file_info* file) {
  FileHandle& handle = *FileHandle::of(file);
  if (handle.writing() == nullptr || (mode & ~kKnownModes) != 0) {
    fuse_reply_err(request, handle.writing() == nullptr ? EBADF : EOPNOTSUPP);
    return;
  }
  const int code = allocate(*handle.writing(), mode, offset, length);
  if (code == 0) handle.wrote();
  fuse_reply_err(request, code);
}

}  // namespace zelto
