#include "framework/volume/NewNodes.h"

#include <cerrno>

#include "framework/volume/Listed.h"
#include "framework/volume/Permissions.h"
#include "platform/foundation/Unicode.h"

namespace zelto {
namespace {

int errnoToMake(Volume& volume, Inode folder, const std::string& name, const NewNode& what) {
  const auto node = volume.replica().node(folder);
  if (!node) return ENOENT;
  if (const int code = Permissions(volume.replica()).toAddTo(*node)) return code;
  if (!isValidUTF8(what.symlinkTarget)) return EILSEQ;
  return errnoForName(volume.replica().identifier(folder), name);
}

void make(fuse_req_t request, Inode folder, const std::string& name, const NewNode& what, Made& made) {
  Volume& volume = volume::of(request);
  if (const int code = errnoToMake(volume, folder, name, what)) return replyChanged(request, code);
  const auto created = volume.replica().create(folder, name, what);
  if (!created) return replyChanged(request, created.error());
  made(request, *created);
}

}  // namespace

void makeNode(fuse_req_t request, Inode folder, std::string name, NewNode what, Made made) {
  whenListed(request, folder,
             [folder, name = std::move(name), what = std::move(what),
              made = std::move(made)](fuse_req_t held) mutable { make(held, folder, name, what, made); });
}

void replyMade(fuse_req_t request, const Replica::Created& created) {
  Volume& volume = volume::of(request);
  const fuse_entry_param entry = volume.entry(created.node);
  if (created.content) volume.replica().endWriting(created.node.inode, *created.content);
  fuse_reply_entry(request, &entry);
}

}  // namespace zelto
