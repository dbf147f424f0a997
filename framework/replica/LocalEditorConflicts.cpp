#include <cerrno>

#include <unistd.h>

#include "framework/replica/LocalEditor.h"

namespace zelto {

bool LocalEditor::anyLocalBelow(Slot slot) const {
  if (changes_.empty() || table()[slot].kind != NodeKind::folder) return false;
  bool any = false;
  changes_.forEach([&](const LocalEntry& entry) {
    if (any || !entry.pending() || entry.removed) return;
    const Slot at = table().slotForInode(entry.inode);
    any = at != kNoSlot && at != slot && around_.tree.isBelowOrSelf(at, slot);
  });
  return any;
}

// The node is one that the server does not have, from now on.
void LocalEditor::unbind(Slot slot, Draft& draft) {
  LocalEntry entry = entryOf(slot);
  takeAttributes(entry);
  if (entry.bound) forgetRow(draft, entry);
  entry.bound = entry.moved = false;
  entry.identifier.clear();
  entry.attempt.clear();
  entry.version.clear();
  entry.metadata = 0;
  entry.content = entry.fields.kind == NodeKind::file;
  putEntry(draft, std::move(entry));
}

std::expected<ReplicaDelta, int> LocalEditor::keepBoth(Slot slot, std::string_view newName) {
  const Slot folder = table()[slot].parent;
  const LocalEntry* const known = changes_.find(table()[slot].inode);
  if (known == nullptr || known->inFlight) return std::unexpected(EBUSY);
  if (table().child(folder, newName) != kNoSlot) return std::unexpected(EEXIST);
  Draft draft;
  const bool separate = known->bound && known->content;
  if (separate) {
    unbind(slot, draft);
  } else {
    putEntry(draft, entryOf(slot));
  }
  LocalEntry& kept = draft.edit.put.back();
  kept.name = newName;
  kept.attempt.clear();
  if (!kept.bound) kept.identifier.clear();
  if (const int code = commit(draft)) return std::unexpected(code);

  ReplicaDelta delta;
  delta.removed.push_back(table().place(slot));
  table().unlink(slot);
  table().link(slot, folder, newName);
  if (separate) table().setOwnIdentifier(slot, {});
  noteLocal(slot);
  delta.added.push_back(table().place(slot));
  return delta;
}

// A node with all below it that has no local change, out of memory and of the database.
void LocalEditor::dropSubtree(Slot slot, ReplicaDelta& delta) {
  const TableNode& top = table()[slot];
  delta.removed.push_back(table().place(slot));
  std::vector<Slot> subtree{slot};
  std::uint64_t folders = 0;
  for (std::size_t at = 0; at < subtree.size(); ++at) {
    table().forEachChild(subtree[at], [&](Slot child) { subtree.push_back(child); });
    if (table()[subtree[at]].kind == NodeKind::folder) ++folders;
  }
  JournalChunk chunk;
  chunk.putRemoval(top.inode, subtree.size(), folders);
  around_.journal.push(std::move(chunk));
  for (auto each = subtree.rbegin(); each != subtree.rend(); ++each) dropNode(*each);
}

// What is changed here stays and will be created anew, with the folders that it stands in; the rest goes.
void LocalEditor::loseBelow(Slot slot, Draft& draft, ReplicaDelta& delta) {
  unbind(slot, draft);
  if (table()[slot].kind != NodeKind::folder) return;
  around_.tree.loadChildren(slot);
  table()[slot].listed = true;
  std::vector<Slot> children;
  table().forEachChild(slot, [&](Slot child) { children.push_back(child); });
  for (const Slot child : children) {
    const LocalEntry* const entry = changes_.find(table()[child].inode);
    const bool elsewhere = entry != nullptr && entry->pending() && (!entry->bound || entry->moved);
    if (elsewhere) continue;
    if ((entry != nullptr && entry->pending() && entry->content) || anyLocalBelow(child)) {
      loseBelow(child, draft, delta);
    } else {
      dropSubtree(child, delta);
    }
  }
}

ReplicaDelta LocalEditor::serverLost(Inode inode) {
  ReplicaDelta delta;
  const Slot slot = table().slotForInode(inode);
  const LocalEntry* const known = changes_.find(inode);
  if (known != nullptr && known->removed) {
    const LocalEntry removed = *known;  // which goes with being settled
    return settleRemoval(removed, removed.identifier);
  }
  if (slot == kNoSlot) return delta;
  Draft draft;
  if ((known != nullptr && known->content) || anyLocalBelow(slot)) {
    loseBelow(slot, draft, delta);
    std::vector<Inode> unbound;
    std::vector<Inode> fresh;
    for (const LocalEntry& entry : draft.edit.put) {
      unbound.push_back(entry.inode);
      const LocalEntry* const before = changes_.find(entry.inode);
      if (before == nullptr || !before->pending()) fresh.push_back(entry.inode);
    }
    if (commit(draft) != 0) return delta;
    delta.toSend = std::move(fresh);
    for (const Inode each : unbound) {
      const Slot at = table().slotForInode(each);
      if (at == kNoSlot) continue;
      table().setOwnIdentifier(at, {});
      noteLocal(at);
    }
    return delta;
  }
  draft.edit.drop.push_back(inode);
  if (commit(draft) == 0) dropSubtree(slot, delta);
  return delta;
}

std::expected<ReplicaDelta, int> LocalEditor::abandon(Inode inode) {
  ReplicaDelta delta;
  const LocalEntry* const known = changes_.find(inode);
  if (known == nullptr || !known->pending()) return std::unexpected(ENOENT);
  const Slot slot = table().slotForInode(inode);
  // Who has a removed file open goes on writing to nobody's content.
  const bool writing = slot != kNoSlot && known->writers > 0;
  if (known->inFlight || writing) return std::unexpected(EBUSY);
  if (slot != kNoSlot && table()[slot].kind == NodeKind::folder) {
    around_.tree.loadChildren(slot);
    if (anyLocalBelow(slot) || (!known->bound && table().childCount(slot) > 0)) {
      return std::unexpected(ENOTEMPTY);
    }
  }
  Draft draft;
  if (slot == kNoSlot && known->bound) {
    putGone(draft, *known);  // what the server has is a new one then
  } else {
    draft.edit.drop.push_back(inode);
  }
  if (const int code = commit(draft)) return std::unexpected(code);
  if (slot == kNoSlot) return delta;
  dropSubtree(slot, delta);
  return delta;
}

}  // namespace zelto
