#include <cerrno>

#include <fcntl.h>

#include "framework/requests/Errno.h"
#include "framework/volume/FileHandle.h"
#include "framework/volume/Volume.h"

namespace zelto {
namespace {

void replyOpened(fuse_req_t request, const NodeInfo& node, const std::shared_ptr<ContentFile>& content,
                 fuse_file_info file) {
  auto handle = std::make_unique<FileHandle>(node, content);
  file.fh = reinterpret_cast<std::uint64_t>(handle.get());
  // Each version has a node of its own, so its pages stay true from open to open.
  file.keep_cache = 1;
  file.noflush = 1;
  // An interrupted open is not opened: the handle is ours again.
  if (fuse_reply_open(request, &file) == 0) static_cast<void>(handle.release());
}

// A small file comes here before its open is answered: if it is another version by then, the kernel can
// still look the name up again without the program noticing.
bool fetchBeforeOpen(const ContentFile& content) {
  return content.size() <= FileFetch::kWholeFileLimit && !content.covers({0, content.size()});
}

}  // namespace

void volume::open(fuse_req_t request, fuse_ino_t node, fuse_file_info* file) {
  Volume& volume = of(request);
  if ((file->flags & O_ACCMODE) != O_RDONLY) {
    fuse_reply_err(request, EROFS);
    return;
  }
  if (!volume.epochs().isCurrent(node)) {
    fuse_reply_err(request, ESTALE);
    return;
  }
  const auto info = volume.replica().node(ContentEpochs::inodeOf(node));
  if (!info) {
    fuse_reply_err(request, ENOENT);
    return;
  }
  auto content = volume.replica().content(info->inode);
  if (!content) {
    fuse_reply_err(request, errnoForError(content.error()));
    return;
  }
  if (!fetchBeforeOpen(**content)) {
    replyOpened(request, *info, *content, *file);
    return volume.walkAhead().openedFile(*info, false);
  }
  const NSRange whole{0, (*content)->size()};
  auto held = volume.kernelRequests().hold(
      request, [info = *info, content = *content, opened = *file](fuse_req_t answered) {
        replyOpened(answered, info, content, opened);
      });
  volume.materialiser().ensure(*content, whole, 0, std::move(held));
  volume.walkAhead().openedFile(*info, true);
}

void volume::release(fuse_req_t request, fuse_ino_t, fuse_file_info* file) {
  delete FileHandle::of(file);
  fuse_reply_err(request, 0);
}

}  // namespace zelto
