#include <algorithm>
#include <iterator>

#include "framework/replica/Learner.h"

namespace zelto {

// Whether the server's word on an item counts for nothing at the moment: what was removed here does not come
// back, what was made here is not replaced, what is changed here keeps its content, and what the server took
// after it was asked is newer than its answer.
bool Learner::isHidden(const ItemRecord& record, Slot slot) {
  const LocalChanges& changes = here_.editor.changes();
  if (slot != kNoSlot && isLinkHere(record, slot)) {
    table_[slot].seen = true;
    skipped_.push_back(table_[slot].inode);
    return true;
  }
  const LocalEntry* const elsewhere = changes.elsewhereFor(record.identifier);
  if (elsewhere != nullptr && (elsewhere->removed || !elsewhere->bound)) return true;
  const LocalEntry* const attempted = changes.attemptedAt(record.identifier);
  const Inode here = slot == kNoSlot ? 0 : table_[slot].inode;
  if (attempted != nullptr && attempted->inode != here && attempted->pending()) return true;
  if (here_.asked && changes.settledSince(*here_.asked, record.identifier)) return true;
  if (slot == kNoSlot) return false;
  if (here_.asked && changes.settledSince(*here_.asked, table_[slot].inode)) return true;
  if (!table_[slot].local) return false;
  const LocalEntry* const entry = changes.find(table_[slot].inode);
  return entry != nullptr && (!entry->bound || entry->content);
}

bool Learner::staysAsItIs(Slot slot) const { return table_[slot].local || here_.editor.anyLocalBelow(slot); }

// Whether a folder above it is just moving on the server, or has moved since the server was asked: then the
// server speaks of the place that it had. It does not tell twice of what is below a folder that moves.
bool Learner::isBelowMoving(Slot slot) const {
  const LocalChanges& changes = here_.editor.changes();
  for (Slot at = table_[slot].parent; at != kNoSlot && at != table_.root(); at = table_[at].parent) {
    if (here_.asked && changes.settledSince(*here_.asked, table_[at].inode)) return true;
    const LocalEntry* const above = table_[at].local ? changes.find(table_[at].inode) : nullptr;
    if (above != nullptr && !above->attempt.empty()) return true;
  }
  return false;
}

// True for a node that the server has lost and that stays here, at least for now.
bool Learner::keptHere(Slot slot) {
  const TableNode& node = table_[slot];
  if (isBelowMoving(slot) || !here_.editor.isPlaceKnown(slot)) return true;
  if (node.local) return true;  // its next step will find out
  if (here_.asked && here_.editor.changes().settledSince(*here_.asked, node.inode)) return true;
  if (!here_.editor.anyLocalBelow(slot)) return false;
  // What stands at the top is not made from here, and comes back when the server shows it again.
  if (node.parent != table_.root()) lost_.push_back(node.inode);
  return true;
}

// A symbolic link made here, whose place on the server an empty file keeps that has not changed.
bool Learner::isLinkHere(const ItemRecord& record, Slot slot) {
  return table_[slot].kind == NodeKind::symlink && (table_[slot].here & kLinkHere) != 0 &&
         record.fields.kind == NodeKind::file && record.fields.versionTag == table_[slot].versionTag;
}

NodeFields Learner::withWhatIsHere(const NodeFields& before, NodeFields after) const {
  after.here = before.here;
  if ((before.here & kDatesHere) == 0) return after;
  if (before.versionTag == after.versionTag || after.kind == NodeKind::folder) {
    after.modifiedNs = before.modifiedNs;
    after.createdNs = before.createdNs;
    after.accessedNs = before.accessedNs;
  } else {
    after.here = static_cast<std::uint16_t>(after.here & ~kDatesHere);
  }
  return after;
}

ReplicaDelta Learner::loseFolders() {
  ReplicaDelta delta;
  for (const Inode inode : lost_) {
    ReplicaDelta lost = here_.editor.serverLost(inode);
    std::ranges::move(lost.removed, std::back_inserter(delta.removed));
    std::ranges::move(lost.toSend, std::back_inserter(delta.toSend));
  }
  return delta;
}

}  // namespace zelto
