#pragma once

#include <mutex>
#include <unordered_set>
#include <vector>

#include "framework/listing/Lister.h"

namespace zelto {

// Lists folders ahead of a program that walks a tree. Who opens one unlisted folder after the other of
// the same parent will want the next ones too: they are asked for while the program is busy with this
// one, so that the host works at the same time. A single folder opened asks for nothing more.
// THREAD: any.
class WalkAhead {
 public:
  // How many folders are asked for ahead of the one that was opened.
  static constexpr std::size_t kDepth = 4;

  WalkAhead(Replica& replica, Lister& lister) : replica_(replica), lister_(lister) {}

  // A folder is opened for the first time. BLOCKS: as a listing.
  void openedUnlisted(const NodeInfo& folder);
  // Whether a folder was asked for ahead and has not been opened since; the walk goes on from it.
  bool wasAhead(Inode folder);

 private:
  // The folders behind this one in the parent's order that have not been listed.
  std::vector<Inode> next(const NodeInfo& folder);
  bool walks(const NodeInfo& folder);

  Replica& replica_;
  Lister& lister_;
  std::mutex mutex_;
  Inode parent_ = 0;       // of the folder opened last
  std::size_t place_ = 0;  // of that folder among its siblings, as a hint
  std::unordered_set<Inode> ahead_;
};

}  // namespace zelto
