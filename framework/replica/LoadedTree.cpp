#include "framework/replica/LoadedTree.h"

#include <vector>

#include "framework/replica/ItemBatch.h"

namespace zelto {

std::string LoadedTree::childPrefix(Slot folder) const {
  return folder == table_.root() ? std::string() : identifier(folder);
}

std::string LoadedTree::identifier(Slot slot) const {
  if (slot == table_.root()) return NSFileProviderRootContainerItemIdentifier;
  std::vector<std::string_view> names;
  for (; slot != table_.root(); slot = table_[slot].parent) {
    const std::string_view own = table_.ownIdentifier(slot);
    if (!own.empty()) {
      names.push_back(own);
      break;
    }
    names.push_back(table_[slot].name());
  }
  std::string text(slot == table_.root() ? std::string_view() : names.back());
  if (slot != table_.root()) names.pop_back();
  for (auto name = names.rbegin(); name != names.rend(); ++name) text.append("/").append(*name);
  return text;
}

bool LoadedTree::isBelowOrSelf(Slot slot, Slot ancestor) const {
  for (; slot != kNoSlot; slot = table_[slot].parent) {
    if (slot == ancestor) return true;
  }
  return false;
}

void LoadedTree::take(Slot folder, const NodeRow& row) {
  if (hidden_.contains(row.inode)) return;
  if (table_.slotForInode(row.inode) != kNoSlot || table_.child(folder, row.name) != kNoSlot) return;
  const Slot slot = table_.add(row.inode, folder, row.name, row.fields);
  if (row.fields.kind == NodeKind::folder) table_[slot].listed = row.listed;
  if (!row.ownIdentifier.empty()) table_.setOwnIdentifier(slot, row.ownIdentifier);
}

void LoadedTree::loadChildren(Slot folder) {
  if (table_[folder].loaded || table_[folder].kind != NodeKind::folder) return;
  table_[folder].loaded = true;
  if (reader_.children(table_[folder].inode, [this, folder](const NodeRow& row) { take(folder, row); }))
    return;
  // What could be read may not be all: the folder is to be listed again.
  table_[folder].listed = false;
  health_.condemn("a folder cannot be read");
}

Slot LoadedTree::loadNode(Inode inode) {
  std::vector<Inode> below;
  Slot slot = table_.slotForInode(inode);
  for (Inode at = inode; slot == kNoSlot; slot = table_.slotForInode(at)) {
    constexpr std::size_t kDeepest = 4096;  // a damaged database may hold a circle
    const auto parent = reader_.parent(at);
    if (!parent || below.size() > kDeepest) return kNoSlot;
    below.push_back(at);
    at = *parent;
  }
  for (; !below.empty() && slot != kNoSlot; below.pop_back()) {
    loadChildren(slot);
    slot = table_.slotForInode(below.back());
  }
  return slot;
}

Slot LoadedTree::loadOwnIdentifier(std::string_view identifier) {
  const Slot known = table_.slotForOwnIdentifier(identifier);
  if (known != kNoSlot) return known;
  const auto inode = reader_.inodeForOwnIdentifier(identifier);
  if (!inode) return kNoSlot;
  const Slot slot = loadNode(*inode);
  return slot != kNoSlot && table_.ownIdentifier(slot) == identifier ? slot : kNoSlot;
}

Slot LoadedTree::loadIdentifier(std::string_view identifier) { return loadIdentifier(identifier, 0); }

Slot LoadedTree::loadIdentifier(std::string_view identifier, unsigned depth) {
  constexpr unsigned kDeepest = 2048;
  if (isRootIdentifier(identifier)) return table_.root();
  if (anyOwnIdentifiers()) {
    if (const Slot own = loadOwnIdentifier(identifier); own != kNoSlot) return own;
  }
  const std::size_t cut = identifier.rfind('/');
  if (cut == identifier.npos || depth == kDeepest) return kNoSlot;
  const std::string_view before = identifier.substr(0, cut), name = identifier.substr(cut + 1);
  const Slot parent = before.empty() ? table_.root() : loadIdentifier(before, depth + 1);
  if (parent == kNoSlot || (parent == table_.root() && !before.empty())) return kNoSlot;
  loadChildren(parent);
  const Slot child = table_.child(parent, name);
  return child != kNoSlot && table_.ownIdentifier(child).empty() ? child : kNoSlot;
}

Slot LoadedTree::loadPath(std::string_view path) {
  Slot slot = table_.root();
  while (!path.empty() && slot != kNoSlot) {
    const std::size_t cut = std::min(path.find('/'), path.size());
    if (cut > 0) {
      loadChildren(slot);
      slot = table_.child(slot, path.substr(0, cut));
    }
    path.remove_prefix(std::min(cut + 1, path.size()));
  }
  return slot;
}

}  // namespace zelto
