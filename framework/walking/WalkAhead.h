#pragma once

#include <atomic>
#include <memory>

#include "framework/fetching/Materialiser.h"
#include "framework/listing/Lister.h"
#include "framework/walking/LookupBurst.h"
#include "framework/walking/SiblingWalk.h"

namespace zelto {

// Works ahead of a program that goes through a tree: who opens one unlisted folder, or one small file that
// is not here, after the other gets the next ones too, while it is busy with this one. So the host works
// at the same time, and a distant one answers several requests in the time of one. Who looks names up all
// over a tree gets the folders beside those looked into. A single folder or file opened or looked into asks
// for nothing more.
// THREAD: any. BLOCKS: as a listing.
class WalkAhead {
 public:
  // Larger files are worth a wait of their own.
  static constexpr std::uint64_t kSmallFile = 64 << 10;
  // Listings in flight for a burst of look-ups: enough to keep the host at work, few enough that one that
  // somebody waits for is soon answered.
  static constexpr std::size_t kBurstListings = 6;

  WalkAhead(Replica& replica, Lister& lister, Materialiser& materialiser);

  // `asked`: the host had to be asked for it just now.
  void openedFolder(const NodeInfo& folder, bool asked);
  void openedFile(const NodeInfo& file, bool asked);
  // A name was looked up in a folder.
  void lookedUp(Inode folder, bool asked);

 private:
  class Ahead;

  Replica& replica_;
  Lister& lister_;
  Materialiser& materialiser_;
  SiblingWalk folders_;
  SiblingWalk files_;
  LookupBurst burst_;
  const std::shared_ptr<std::atomic<std::size_t>> aheadInFlight_ =
      std::make_shared<std::atomic<std::size_t>>(0);
};

}  // namespace zelto
