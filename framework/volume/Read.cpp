#include <algorithm>
#include <cerrno>

#include "framework/volume/FileHandle.h"
#include "framework/volume/Volume.h"

namespace zelto {
namespace {

void replyBytes(fuse_req_t request, const ContentFile& content, NSRange range) {
  fuse_bufvec bytes = FUSE_BUFVEC_INIT(range.length);
  bytes.buf[0].flags = static_cast<fuse_buf_flags>(FUSE_BUF_IS_FD | FUSE_BUF_FD_SEEK);
  bytes.buf[0].fd = content.descriptor();
  bytes.buf[0].pos = static_cast<off_t>(range.location);
  fuse_reply_data(request, &bytes, FUSE_BUF_SPLICE_MOVE);
}

// Only for reads that go past the kernel's pages, which come with their caller's number: all who read the
// file share the pages, and a page of the picture must not become one of them by a mapping.
void replyPicture(fuse_req_t request, const std::string& picture, std::size_t size, off_t offset,
                  const fuse_file_info& file) {
  if (file.lock_owner == 0) {
    fuse_reply_err(request, EIO);
    return;
  }
  const auto location = std::min(static_cast<std::size_t>(offset), picture.size());
  fuse_reply_buf(request, picture.data() + location, std::min(size, picture.size() - location));
}

}  // namespace

void volume::read(fuse_req_t request, fuse_ino_t, std::size_t size, off_t offset, fuse_file_info* file) {
  Volume& volume = of(request);
  FileHandle& handle = *FileHandle::of(file);
  if (handle.picture()) return replyPicture(request, *handle.picture(), size, offset, *file);
  // A copy: once answered, neither the request nor the handle may be touched.
  const std::shared_ptr<ContentFile> content = handle.content();
  const auto location = static_cast<std::uint64_t>(offset);
  const std::uint64_t end = content->size();
  const std::uint64_t length = location < end ? std::min<std::uint64_t>(size, end - location) : 0;
  const NSRange range{location, length};
  if (length == 0) {
    fuse_reply_buf(request, nullptr, 0);
    return;
  }
  const std::uint64_t ahead = handle.readAhead(range);
  if (content->covers(range)) {
    replyBytes(request, *content, range);
    if (!content->complete()) volume.materialiser().prefetch(content, {range.end(), ahead});
    return;
  }
  volume.materialiser().ensure(content, range, ahead,
                               volume.kernelRequests().hold(request, [content, range](fuse_req_t held) {
                                 replyBytes(held, *content, range);
                               }));
}

}  // namespace zelto
