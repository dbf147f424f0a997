#pragma once

#include "framework/fetching/Materialiser.h"
#include "framework/listing/Lister.h"
#include "framework/walking/SiblingWalk.h"

namespace zelto {

// Works ahead of a program that goes through a tree: who opens one unlisted folder, or one small file that
// is not here, after the other gets the next ones too, while it is busy with this one. So the host works
// at the same time, and a distant one answers several requests in the time of one. A single folder or file
// opened asks for nothing more.
// THREAD: any. BLOCKS: as a listing.
class WalkAhead {
 public:
  // Larger files are worth a wait of their own.
  static constexpr std::uint64_t kSmallFile = 64 << 10;

  WalkAhead(Replica& replica, Lister& lister, Materialiser& materialiser);

  // `asked`: the host had to be asked for it just now.
  void openedFolder(const NodeInfo& folder, bool asked);
  void openedFile(const NodeInfo& file, bool asked);

 private:
  Replica& replica_;
  Lister& lister_;
  Materialiser& materialiser_;
  SiblingWalk folders_;
  SiblingWalk files_;
};

}  // namespace zelto
