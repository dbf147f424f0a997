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

WalkAhead::WalkAhead(Replica& replica, Lister& lister, Materialiser& materialiser)
    : replica_(replica),
      lister_(lister),
      materialiser_(materialiser),
      folders_(replica, 2, 4),
      files_(replica, 4, 4) {}

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

}  // namespace zelto
