#include "framework/volume/Writable.h"

#include <cerrno>

#include "framework/volume/Permissions.h"
#include "framework/volume/Volume.h"
#include "framework/volume/WholeContent.h"

namespace zelto {
namespace {

int errnoToWrite(Volume& volume, fuse_ino_t node) {
  const auto info = volume.replica().node(kernelnode::inodeOf(node));
  if (!info) return ENOENT;
  if (!kernelnode::isCurrent(node, info)) return ESTALE;
  if (info->kind != NodeKind::file) return EISDIR;
  return Permissions(volume.replica()).toChange(*info);
}

void begin(fuse_req_t request, fuse_ino_t node, bool truncate, WritableContent then, int triesLeft) {
  Volume& volume = volume::of(request);
  const Inode inode = kernelnode::inodeOf(node);
  if (const int code = errnoToWrite(volume, node)) {
    fuse_reply_err(request, code);
    return;
  }
  auto content = volume.replica().beginWriting(inode, truncate);
  if (content && kernelnode::isCurrent(node, volume.replica().node(inode)))
    return then(request, *std::move(content));
  if (content) volume.replica().endWriting(inode, **content);
  const int code = content ? ESTALE : content.error();
  if (code != EAGAIN || triesLeft == 0) {
    fuse_reply_err(request, code == EAGAIN ? ESTALE : code);
    return;
  }
  auto held = volume.kernelRequests().hold(
      request, [node, truncate, then = std::move(then), triesLeft](fuse_req_t again) mutable {
        begin(again, node, truncate, std::move(then), triesLeft - 1);
      });
  WholeContent::ensure(volume.replica(), volume.materialiser(), inode, std::move(held));
}

}  // namespace

void whenWritable(fuse_req_t request, fuse_ino_t node, bool truncate, WritableContent then) {
  constexpr int kTries = 3;
  begin(request, node, truncate, std::move(then), kTries);
}

}  // namespace zelto
