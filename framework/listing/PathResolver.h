#pragma once

#include <expected>
#include <functional>
#include <memory>
#include <string>

#include "framework/listing/Lister.h"

namespace zelto {

// Finds the node at a path below the mount point, listing the folders on the way that are not known yet.
// THREAD: any. COMPLETES: once, with the node or an errno value (ENOENT, ENOTDIR, what a listing says),
// at once or on the thread that ends a listing; with no host only when one comes.
class PathResolver {
 public:
  using Completion = std::move_only_function<void(std::expected<Inode, int>)>;

  PathResolver(Replica& replica, Lister& lister) : replica_(replica), lister_(lister) {}

  // The path is relative to the root: "" or "share/folder/file".
  void resolve(const std::string& relativePath, Completion completion);

 private:
  struct Walk;
  void step(const std::shared_ptr<Walk>& walk);

  Replica& replica_;
  Lister& lister_;
};

}  // namespace zelto
