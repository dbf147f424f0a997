#include "framework/walking/WalkAhead.h"

namespace zelto {
namespace {

// A listing that is of use when it comes, and is not asked for again.
class Nobody final : public Waiter {
 public:
  void done(int) override {}
  bool gaveUp() const override { return true; }
};

bool isUnlistedFolder(const NodeInfo& node) { return node.kind == NodeKind::folder && !node.listed; }

bool isSmallFile(const NodeInfo& node) {
  return node.kind == NodeKind::file && node.size > 0 && node.size <= WalkAhead::kSmallFile;
}

}  // namespace

// Counts a listing for as long as it is in flight.
class WalkAhead::Ahead final : public Waiter {
 public:
  explicit Ahead(std::shared_ptr<std::atomic<std::size_t>> count) : count_(std::move(count)) { ++*count_; }
  ~Ahead() override { --*count_; }
  void done(int) override {}
  bool gaveUp() const override { return true; }

 private:
  const std::shared_ptr<std::atomic<std::size_t>> count_;
};

WalkAhead::WalkAhead(Replica& replica, Lister& lister, Materialiser& materialiser)
    : replica_(replica),
      lister_(lister),
      materialiser_(materialiser),
      folders_(replica, 2, 4),
      files_(replica, 4, 4),
      burst_(replica) {}

void WalkAhead::openedFolder(const NodeInfo& folder, bool asked) {
  if (!folders_.wasForeseen(folder.inode) && !asked) return;
  static const auto nobody = std::make_shared<Nobody>();
  for (const Inode sibling : folders_.opened(folder, isUnlistedFolder)) lister_.listAhead(sibling, nobody);
}

void WalkAhead::openedFile(const NodeInfo& file, bool asked) {
  if (!files_.wasForeseen(file.inode) && !asked) return;
  for (const Inode sibling : files_.opened(file, isSmallFile)) {
    if (const auto content = replica_.content(sibling)) {
      materialiser_.prefetch(*content, {0, (*content)->size()});
    }
  }
}

void WalkAhead::lookedUp(Inode folder, bool asked) {
  const std::size_t inFlight = *aheadInFlight_;
  const std::size_t most = inFlight < kBurstListings ? kBurstListings - inFlight : 0;
  for (const Inode beside : burst_.lookedUp(folder, asked, most)) {
    lister_.listAhead(beside, std::make_shared<Ahead>(aheadInFlight_));
  }
}

}  // namespace zelto
