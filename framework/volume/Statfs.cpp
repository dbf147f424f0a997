#include <sys/statvfs.h>

#include "framework/volume/Volume.h"
#include "platform/foundation/NSFileManager.h"

namespace zelto {

void volume::statfs(fuse_req_t request, fuse_ino_t) {
  // What the server has free is not known here; what the local disk can still hold is.
  struct statvfs disk {};
  if (::statvfs(dataHome().c_str(), &disk) != 0 || disk.f_blocks == 0) {
    disk.f_bsize = disk.f_frsize = 4096;
    disk.f_blocks = disk.f_bfree = disk.f_bavail = std::uint64_t{1} << 28;
  }
  disk.f_namemax = 255;
  fuse_reply_statfs(request, &disk);
}

}  // namespace zelto
