#include <cerrno>

#include "framework/volume/Listed.h"
#include "framework/volume/NoticeAnswers.h"
#include "framework/volume/Permissions.h"

namespace zelto {
namespace {

int removeNode(Volume& volume, const NodeInfo& node) {
  if (const int code = Permissions(volume.replica()).toRemove(node)) return code;
  volume.keepForOpenHandles(node);
  return volume.replica().remove(node.inode);
}

void unlinkNow(fuse_req_t request, Inode folder, const std::string& name) {
  Volume& volume = volume::of(request);
  const auto node = childOf(volume, folder, name);
  if (!node) return replyChanged(request, node.error());
  replyChanged(request, node->kind == NodeKind::folder ? EISDIR : removeNode(volume, *node));
}

// The folder itself is listed first: what is in it on the server keeps it from being removed.
void rmdirNow(fuse_req_t request, Inode folder, const std::string& name) {
  const auto node = childOf(volume::of(request), folder, name);
  if (!node) return replyChanged(request, node.error());
  if (const int code = Permissions(volume::of(request).replica()).toRemove(*node)) {
    return replyChanged(request, code);
  }
  whenListed(request, node->inode, [node = *node](fuse_req_t listed) {
    replyChanged(listed, removeNode(volume::of(listed), node));
  });
}

}  // namespace

void volume::unlink(fuse_req_t request, fuse_ino_t parent, const char* name) {
  if (notice::remove(request, parent, name)) return;
  whenListed(request, parent, [folder = Inode{parent}, wanted = std::string(name)](fuse_req_t listed) {
    unlinkNow(listed, folder, wanted);
  });
}

void volume::rmdir(fuse_req_t request, fuse_ino_t parent, const char* name) {
  if (notice::remove(request, parent, name)) return;
  whenListed(request, parent, [folder = Inode{parent}, wanted = std::string(name)](fuse_req_t listed) {
    rmdirNow(listed, folder, wanted);
  });
}

}  // namespace zelto
