#include <cerrno>

#include "framework/volume/FileHandle.h"
#include "framework/volume/Volume.h"

namespace zelto {
namespace {

ContentFile::WriteResult copyTo(int descriptor, fuse_bufvec& from, off_t offset) {
  fuse_bufvec to = FUSE_BUFVEC_INIT(fuse_buf_size(&from));
  to.buf[0].flags = static_cast<fuse_buf_flags>(FUSE_BUF_IS_FD | FUSE_BUF_FD_SEEK);
  to.buf[0].fd = descriptor;
  to.buf[0].pos = offset;
  const ssize_t count = fuse_buf_copy(&to, &from, static_cast<fuse_buf_copy_flags>(0));
  if (count < 0) return std::unexpected(static_cast<int>(-count));
  return static_cast<std::size_t>(count);
}

}  // namespace

void volume::writeBuf(fuse_req_t request, fuse_ino_t, fuse_bufvec* bytes, off_t offset,
                      fuse_file_info* file) {
  FileHandle& handle = *FileHandle::of(file);
  if (handle.writing() == nullptr) {
    fuse_reply_err(request, EBADF);
    return;
  }
  const auto written = handle.writing()->write(
      static_cast<std::uint64_t>(offset), [&](int descriptor) { return copyTo(descriptor, *bytes, offset); });
  if (!written) {
    fuse_reply_err(request, written.error());
    return;
  }
  handle.wrote();
  fuse_reply_write(request, *written);
}

}  // namespace zelto
