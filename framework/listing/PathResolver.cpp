#include "framework/listing/PathResolver.h"

#include <cerrno>
#include <expected>
#include <vector>

#include "platform/foundation/Path.h"

namespace zelto {

struct PathResolver::Walk {
  std::vector<std::string> components;
  std::size_t next = 0;
  Inode at = kRootInode;
  bool listedAlready = false;  // the present folder was listed on the way here
  Completion completion;
};

void PathResolver::resolve(const std::string& relativePath, Completion completion) {
  auto walk = std::make_shared<Walk>();
  walk->components = pathComponents(relativePath);
  walk->completion = std::move(completion);
  step(walk);
}

void PathResolver::step(const std::shared_ptr<Walk>& walk) {
  while (walk->next < walk->components.size()) {
    const auto result = replica_.lookup(walk->at, walk->components[walk->next]);
    if (result.presence == Replica::Presence::found) {
      walk->at = result.node.inode;
      ++walk->next;
      walk->listedAlready = false;
      continue;
    }
    const auto folder = replica_.node(walk->at);
    if (!folder || result.presence == Replica::Presence::absent || walk->listedAlready) {
      return walk->completion(std::unexpected(ENOENT));
    }
    if (folder->kind != NodeKind::folder) return walk->completion(std::unexpected(ENOTDIR));
    walk->listedAlready = true;
    return lister_.list(walk->at, std::make_shared<FunctionWaiter>([this, walk](int error) {
                          if (error != 0) return walk->completion(std::unexpected(error));
                          step(walk);
                        }));
  }
  walk->completion(walk->at);
}

}  // namespace zelto
