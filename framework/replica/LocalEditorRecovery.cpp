#include <vector>

#include <fmt/format.h>

#include "framework/replica/LocalEditor.h"
#include "framework/replica/ReplicaFiles.h"

namespace zelto {

bool LocalEditor::isInPlace(const LocalEntry& entry, Slot slot) const {
  const TableNode& node = table()[slot];
  return table()[node.parent].inode == entry.parent && node.name() == entry.name &&
         table().ownIdentifier(slot).empty();
}

// What the database says of the node, where it knows better, and whether its bytes are here.
bool LocalEditor::isOfUse(LocalEntry& entry) {
  const Slot slot = around_.tree.loadNode(entry.inode);
  if (!entry.bound) {
    if (entry.removed && entry.attempt.empty()) return false;
    if (entry.removed) entry = presumed(std::move(entry));
    entry.identifier = entry.attempt;
    // The server took the creation, and the process died before the log was told.
    if (slot != kNoSlot && !entry.removed) {
      entry.bound = entry.moved = true;
      entry.identifier = around_.tree.identifier(slot);
    }
  }
  // The server took the move, and the process died before the log was told: the database knows it in its
  // place. Of what is still to be moved it knows none.
  if (entry.bound && entry.moved && slot != kNoSlot && isInPlace(entry, slot)) {
    entry.moved = false;
    entry.identifier.clear();
    entry.attempt.clear();
  }
  if (!entry.pending() && slot == kNoSlot) return false;
  if (entry.content && entry.fields.kind == NodeKind::file) {
    if (around_.contents.findLocal(entry.inode, entry.fields.versionTag)) {
      around_.contents.localAttributes(entry.inode, entry.fields, entry.writing);
    } else if (entry.bound) {
      entry.content = false;  // the process died before the first byte could be written
    } else if (!around_.contents.makeLocal(entry.inode)) {
      return false;
    }
  }
  entry.writing = false;
  entry.contentRevision = 1;
  const bool mayHaveMoved = entry.bound && entry.moved && entry.fields.kind == NodeKind::folder;
  if (mayHaveMoved && !entry.attempt.empty()) uncertainMoves_.insert(entry.inode);
  return true;
}

// Leaves its place, so that another can have it.
void LocalEditor::setAside(const LocalEntry& entry) {
  if (entry.removed) around_.tree.hide(entry.inode);
  const Slot slot = table().slotForInode(entry.inode);
  if (slot == kNoSlot) return;
  if (entry.removed) return dropFromMemory(slot);
  if (table().ownIdentifier(slot).empty()) table().setOwnIdentifier(slot, around_.tree.identifier(slot));
  table().unlink(slot);
  table()[slot].parent = table().root();
}

// What the database still shows where the server has this node: the node has taken that over, and then left.
void LocalEditor::dropPredecessor(const LocalEntry& entry) {
  const auto cut = entry.identifier.rfind('/');
  if (!entry.bound || cut == std::string::npos) return;
  const std::string_view identifier = entry.identifier;
  const Slot folder = cut == 0 ? table().root() : around_.tree.loadIdentifier(identifier.substr(0, cut));
  if (folder == kNoSlot || table()[folder].kind != NodeKind::folder) return;
  around_.tree.loadChildren(folder);
  const Slot there = table().child(folder, identifier.substr(cut + 1));
  if (there == kNoSlot || table()[there].inode == entry.inode || !table().ownIdentifier(there).empty())
    return;
  ReplicaDelta ignored;
  dropSubtree(there, ignored);
}

// Puts a node at its place here. False when its folder is not known (yet).
bool LocalEditor::restore(LocalEntry& entry) {
  const Slot folder = around_.tree.loadNode(entry.parent);
  if (folder == kNoSlot || table()[folder].kind != NodeKind::folder) return false;
  around_.tree.loadChildren(folder);
  Slot slot = table().slotForInode(entry.inode);
  if (slot != kNoSlot && around_.tree.isBelowOrSelf(folder, slot)) return false;
  const Slot occupant = table().child(folder, entry.name);
  if (occupant != kNoSlot && occupant != slot) {
    // What stands there was replaced before the database heard of it.
    ReplicaDelta ignored;
    dropSubtree(occupant, ignored);
  }
  NodeFields fields = entry.fields;
  if (slot == kNoSlot) {
    slot = table().add(entry.inode, folder, entry.name, fields);
    table()[slot].listed = entry.listed;
    table()[slot].loaded = !entry.bound && fields.kind == NodeKind::folder;
    if (!entry.bound) ++around_.counters.items;
    if (!entry.bound && fields.kind == NodeKind::folder) ++around_.counters.folders;
  } else {
    if (!entry.content) {
      const std::uint16_t here = fields.here;
      fields = table().fields(slot);
      fields.here = here;
    }
    if (table()[slot].linked) table().unlink(slot);
    table().link(slot, folder, entry.name);
    table().setFields(slot, fields);
  }
  if (entry.moved && entry.identifier == derivedIdentifier(folder, entry.name)) {
    entry.moved = false;
    entry.identifier.clear();
  }
  table().setOwnIdentifier(slot, entry.bound && entry.moved ? std::string_view(entry.identifier) : "");
  table()[slot].local = entry.pending();
  return true;
}

int LocalEditor::recover() {
  auto kept = changes_.read();
  if (!kept) return kept.error();
  std::erase_if(*kept, [this](LocalEntry& entry) { return !isOfUse(entry); });
  for (const LocalEntry& entry : *kept) setAside(entry);
  for (const LocalEntry& entry : *kept) dropPredecessor(entry);
  std::vector<LocalEntry*> waiting;
  for (LocalEntry& entry : *kept) {
    if (!entry.removed) waiting.push_back(&entry);
  }
  while (std::erase_if(waiting, [this](LocalEntry* entry) { return restore(*entry); }) > 0) continue;
  for (const LocalEntry* entry : waiting) {
    if (const Slot slot = table().slotForInode(entry->inode); slot != kNoSlot) dropFromMemory(slot);
    reportLine(fmt::format("a local change of \"{}\" has lost its folder; what it holds is kept in local/{}",
                           entry->name, entry->inode));
  }
  const int code = changes_.begin(*std::move(kept));
  around_.contents.sweepLocal([this](Inode inode) {
    const LocalEntry* const entry = changes_.find(inode);
    return entry != nullptr && entry->content;
  });
  return code;
}

}  // namespace zelto
