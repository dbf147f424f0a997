#include <cerrno>

#include "framework/volume/FileHandle.h"
#include "framework/volume/Volume.h"

namespace zelto {

void volume::getattr(fuse_req_t request, fuse_ino_t node, fuse_file_info* file) {
  Volume& volume = of(request);
  auto info = volume.replica().node(ContentEpochs::inodeOf(node));
  if (!info || !volume.epochs().isCurrent(node)) {
    // By path, ESTALE makes the kernel look the name up again; an open file goes on as it was opened.
    if (file == nullptr) {
      fuse_reply_err(request, info ? ESTALE : ENOENT);
      return;
    }
    info = FileHandle::of(file)->node();
  }
  const struct stat attributes = volume.attributes(*info);
  fuse_reply_attr(request, &attributes, Volume::kKernelCacheSeconds);
}

void volume::readlink(fuse_req_t request, fuse_ino_t node) {
  const std::string target = of(request).replica().symlinkTarget(ContentEpochs::inodeOf(node));
  if (target.empty()) {
    fuse_reply_err(request, ENOENT);
  } else {
    fuse_reply_readlink(request, target.c_str());
  }
}

}  // namespace zelto
