#include "framework/volume/NewNodes.h"

#include <cerrno>

#include "framework/volume/Listed.h"
#include "framework/volume/Permissions.h"
#include "platform/foundation/Unicode.h"

namespace zelto {
namespace {

// That there is one already comes before all else, as programs expect.
int errnoToMake(Volume& volume, Inode folder, const std::string& name, const NewNode& what) {
  const auto node = volume.replica().node(folder);
  if (!node) return ENOENT;
  if (childOf(volume, folder, name)) return EEXIST;
  if (const int code = Permissions(volume.replica()).toAddTo(*node)) return code;
  if (!isValidUTF8(what.symlinkTarget)) return EILSEQ;
  return errnoForName(volume.replica().identifier(folder), name);
}

std::expected<Replica::Created, int> make(Volume& volume, Inode folder, const std::string& name,
                                          const NewNode& what) {
  if (const int code = errnoToMake(volume, folder, name, what)) return std::unexpected(code);
  return volume.replica().create(folder, name, what);
}

}  // namespace

void makeNode(fuse_req_t request, Inode folder, std::string name, NewNode what, int ifExists, Made made) {
  whenListed(request, folder,
             [folder, name = std::move(name), what = std::move(what), ifExists,
              made = std::move(made)](fuse_req_t held) mutable {
               const auto created = make(volume::of(held), folder, name, what);
               if (created) return made(held, *created);
               replyChanged(held, created.error() == EEXIST ? ifExists : created.error());
             });
}

void replyMade(fuse_req_t request, const Replica::Created& created) {
  Volume& volume = volume::of(request);
  volume.told(created.node);
  const fuse_entry_param entry = volume.entry(created.node);
  if (created.content) volume.replica().endWriting(created.node.inode, *created.content);
  fuse_reply_entry(request, &entry);
}

}  // namespace zelto
