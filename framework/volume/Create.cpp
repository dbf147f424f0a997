#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>

#include "framework/volume/NewNodes.h"
#include "framework/volume/NoticeAnswers.h"
#include "framework/volume/Opened.h"

namespace zelto {
namespace {

constexpr mode_t kPermissions = 0777;

NewNode fileWith(mode_t mode) {
  return {.kind = NodeKind::file,
          .permissions = static_cast<std::uint16_t>(mode & kPermissions),
          .symlinkTarget = {}};
}

}  // namespace

// Where the program would open an existing file, too, the kernel thought that there is none. ESTALE makes it
// look again, and open what is there.
void volume::create(fuse_req_t request, fuse_ino_t parent, const char* name, mode_t mode,
                    fuse_file_info* file) {
  const int ifExists = (file->flags & O_EXCL) == 0 ? ESTALE : EEXIST;
  makeNode(request, parent, name, fileWith(mode), ifExists,
           [opened = *file](fuse_req_t held, const Replica::Created& created) {
             replyCreated(held, created, opened);
           });
}

void volume::mknod(fuse_req_t request, fuse_ino_t parent, const char* name, mode_t mode, dev_t) {
  if (notice::make(request, parent, name)) return;
  if (!S_ISREG(mode)) {
    fuse_reply_err(request, EPERM);
    return;
  }
  makeNode(request, parent, name, fileWith(mode), EEXIST, replyMade);
}

void volume::mkdir(fuse_req_t request, fuse_ino_t parent, const char* name, mode_t mode) {
  if (notice::make(request, parent, name)) return;
  makeNode(request, parent, name,
           {.kind = NodeKind::folder,
            .permissions = static_cast<std::uint16_t>(mode & kPermissions),
            .symlinkTarget = {}},
           EEXIST, replyMade);
}

void volume::symlink(fuse_req_t request, const char* target, fuse_ino_t parent, const char* name) {
  if (notice::make(request, parent, name)) return;
  makeNode(request, parent, name, {.kind = NodeKind::symlink, .permissions = 0, .symlinkTarget = target},
           EEXIST, replyMade);
}

// The server has no second name for a file.
void volume::link(fuse_req_t request, fuse_ino_t, fuse_ino_t, const char*) { fuse_reply_err(request, EPERM); }

}  // namespace zelto
