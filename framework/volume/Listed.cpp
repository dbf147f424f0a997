#include "framework/volume/Listed.h"

#include <cerrno>

namespace zelto {

void whenListed(fuse_req_t request, Inode folder, KernelRequest::Answer operation) {
  Volume& volume = volume::of(request);
  const auto node = volume.replica().node(folder);
  if (!node || node->kind != NodeKind::folder) {
    fuse_reply_err(request, node ? ENOTDIR : ENOENT);
  } else if (node->listed) {
    operation(request);
  } else {
    volume.lister().list(folder, volume.kernelRequests().hold(request, std::move(operation)));
  }
}

std::expected<NodeInfo, int> childOf(Volume& volume, Inode folder, std::string_view name) {
  const Replica::LookupResult result = volume.replica().lookup(folder, name);
  if (result.presence == Replica::Presence::found) return result.node;
  return std::unexpected(result.presence == Replica::Presence::absent ? ENOENT : EIO);
}

void replyChanged(fuse_req_t request, int code) {
  // A folder was to be listed although it just has been: it was replaced in between.
  fuse_reply_err(request, code == EAGAIN ? ESTALE : code);
}

}  // namespace zelto
