#include <cerrno>

#include <unistd.h>

#include "framework/volume/FileHandle.h"
#include "framework/volume/Volume.h"

namespace zelto {

// What was written is in the content file already: a program's end or ours loses nothing of it.
void volume::flush(fuse_req_t request, fuse_ino_t, fuse_file_info*) { fuse_reply_err(request, 0); }

void volume::fsync(fuse_req_t request, fuse_ino_t, int, fuse_file_info* file) {
  const auto content = FileHandle::of(file)->content();
  int code = content->descriptor() < 0 || ::fdatasync(content->descriptor()) == 0 ? 0 : errno;
  if (code == 0 && content->local()) code = of(request).replica().syncLocalChanges();
  fuse_reply_err(request, code);
}

void volume::fsyncdir(fuse_req_t request, fuse_ino_t, int, fuse_file_info*) {
  fuse_reply_err(request, of(request).replica().syncLocalChanges());
}

}  // namespace zelto
