#include "framework/volume/Permissions.h"

#include <cerrno>

#include <sys/stat.h>

#include "platform/foundation/Unicode.h"
#include "platform/foundation/UuidName.h"

namespace zelto {
namespace {

using enum NSFileProviderItemCapabilities;

constexpr std::size_t kLongestName = 255;
// A path on the server is bounded, also where ours is relative to a folder deep in it.
constexpr std::size_t kLongestIdentifier = 4000;
constexpr mode_t kWriteBits = 0222;

mode_t bitsOfItem(const NodeInfo& node) {
  using Flags = NSFileProviderFileSystemFlags;
  mode_t bits = 0;
  if (contains(node.flags, Flags::userReadable)) bits |= 0444;
  if (contains(node.flags, Flags::userExecutable)) bits |= 0111;
  if (contains(node.flags, Flags::userWritable)) bits |= 0200;
  return bits;
}

}  // namespace

// A link says nothing of what may be done with it; as elsewhere its folder decides.
bool Permissions::allows(const NodeInfo& node, NSFileProviderItemCapabilities capability) const {
  return node.kind == NodeKind::symlink ? folderAllows(node) : contains(node.capabilities, capability);
}

bool Permissions::folderAllows(const NodeInfo& node) const {
  const auto folder = replica_.node(node.parent);
  return folder && contains(folder->capabilities, allowsWriting);
}

int Permissions::toAddTo(const NodeInfo& folder) const {
  if (folder.kind != NodeKind::folder) return ENOTDIR;
  return allows(folder, allowsWriting) ? 0 : EACCES;
}

int Permissions::toChange(const NodeInfo& node) const { return allows(node, allowsWriting) ? 0 : EACCES; }

int Permissions::toRemove(const NodeInfo& node) const {
  // A folder may say so of itself, and lie in one that is closed.
  const bool allowed = allows(node, allowsDeleting) || allows(node, allowsTrashing);
  return allowed && folderAllows(node) ? 0 : EACCES;
}

int Permissions::toMove(const NodeInfo& node, bool renamed, bool moved) const {
  const bool allowed =
      (!renamed || allows(node, allowsRenaming)) && (!moved || allows(node, allowsReparenting));
  if (!folderAllows(node)) return EACCES;
  if (allowed) return 0;
  // It may be removed, but not moved, only for as long as the server is still taking it in.
  return allows(node, allowsDeleting) ? EBUSY : EACCES;
}

int Permissions::toReplace(const NodeInfo& node) const {
  return toRemove(node) == 0 || (node.kind == NodeKind::file && toChange(node) == 0) ? 0 : EACCES;
}

int errnoForName(std::string_view identifier, std::string_view name) {
  if (name.size() > kLongestName) return ENAMETOOLONG;
  if (identifier.size() + 1 + name.size() > kLongestIdentifier) return ENAMETOOLONG;
  if (name.empty() || name == "." || name == ".." || isUnfinishedName(name)) return EINVAL;
  return isValidUTF8(name) ? 0 : EILSEQ;
}

mode_t modeOf(const NodeInfo& node) {
  if (node.kind == NodeKind::symlink) return S_IFLNK | 0777;
  mode_t bits = node.permissions != 0 ? node.permissions : bitsOfItem(node);
  if (!contains(node.capabilities, allowsWriting)) bits &= ~kWriteBits;
  return bits | (node.kind == NodeKind::folder ? S_IFDIR : S_IFREG);
}

}  // namespace zelto
