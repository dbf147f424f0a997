#include <cerrno>
#include <cstdio>

#include "framework/volume/Listed.h"
#include "framework/volume/NoticeAnswers.h"
#include "framework/volume/Permissions.h"

namespace zelto {
namespace {

struct Renaming {
  Inode folder;
  std::string name;
  Inode newFolder;
  std::string newName;
  bool mayReplace;
};

int errnoToPlace(Volume& volume, const Renaming& what, const NodeInfo& node) {
  const Permissions permissions(volume.replica());
  const bool moved = what.folder != what.newFolder;
  if (const int code = permissions.toMove(node, what.name != what.newName, moved)) return code;
  const auto newFolder = volume.replica().node(what.newFolder);
  if (!newFolder) return ENOENT;
  if (const int code = moved ? permissions.toAddTo(*newFolder) : 0) return code;
  return errnoForName(volume.replica().identifier(what.newFolder), what.newName);
}

// The node that stands where another one is to go. ERRORS: why it must not be replaced.
std::expected<NodeInfo, int> replaced(Volume& volume, const Renaming& what) {
  auto target = childOf(volume, what.newFolder, what.newName);
  if (!target) return target;
  if (!what.mayReplace) return std::unexpected(EEXIST);
  if (const int code = Permissions(volume.replica()).toReplace(*target)) return std::unexpected(code);
  return target;
}

void finish(fuse_req_t request, const Renaming& what, const NodeInfo& node) {
  replyChanged(request, volume::of(request).replica().rename(node.inode, what.newFolder, what.newName,
                                                             what.mayReplace));
}

void perform(fuse_req_t request, const Renaming& what) {
  Volume& volume = volume::of(request);
  const auto node = childOf(volume, what.folder, what.name);
  if (!node) return replyChanged(request, node.error());
  if (what.folder == what.newFolder && what.name == what.newName) return replyChanged(request, 0);
  if (const int code = errnoToPlace(volume, what, *node)) return replyChanged(request, code);
  const auto target = replaced(volume, what);
  if (!target && target.error() != ENOENT) return replyChanged(request, target.error());
  if (target) volume.keepForOpenHandles(*target);
  if (!target || target->kind != NodeKind::folder) return finish(request, what, *node);
  // Whether it is empty is known once it is listed.
  whenListed(request, target->inode, [what, node = *node](fuse_req_t listed) { finish(listed, what, node); });
}

}  // namespace

void volume::rename(fuse_req_t request, fuse_ino_t parent, const char* name, fuse_ino_t newParent,
                    const char* newName, unsigned flags) {
  if (notice::rename(request, {parent, name}, {newParent, newName})) return;
  if ((flags & ~static_cast<unsigned>(RENAME_NOREPLACE)) != 0) {
    fuse_reply_err(request, EINVAL);
    return;
  }
  const bool mayReplace = (flags & RENAME_NOREPLACE) == 0;
  whenListed(request, parent,
             [what = Renaming{parent, name, newParent, newName, mayReplace}](fuse_req_t listed) {
               whenListed(listed, what.newFolder, [what](fuse_req_t both) { perform(both, what); });
             });
}

}  // namespace zelto
