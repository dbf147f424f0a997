#include <cerrno>

#include "framework/volume/NoticeAnswers.h"
#include "framework/volume/Volume.h"

namespace zelto {
void volume::replyAttributes(fuse_req_t request, fuse_ino_t node) {
  Volume& volume = of(request);
  const auto info = volume.replica().node(kernelnode::inodeOf(node));
  struct stat attributes {};
  const auto open = volume.openFiles().find(node);
  if (kernelnode::isCurrent(node, info)) {
    attributes = volume.attributes(*info);
  } else if (open) {
    // Who has it open asks without a handle, too.
    attributes = volume.attributes(open->node());
    if (!info) attributes.st_nlink = 0;
  } else {
    // ESTALE makes the kernel look the name up again.
    fuse_reply_err(request, info ? ESTALE : ENOENT);
    return;
  }
  fuse_reply_attr(request, &attributes, Volume::kKernelCacheSeconds);
}

void volume::getattr(fuse_req_t request, fuse_ino_t node, fuse_file_info*) {
  if (!notice::getattr(request, node)) replyAttributes(request, node);
}

void volume::readlink(fuse_req_t request, fuse_ino_t node) {
  const std::string target = of(request).replica().symlinkTarget(kernelnode::inodeOf(node));
  if (target.empty()) {
    fuse_reply_err(request, ENOENT);
  } else {
    fuse_reply_readlink(request, target.c_str());
  }
}

}  // namespace zelto
