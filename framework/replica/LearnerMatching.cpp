#include <unordered_set>

#include "framework/replica/Learner.h"

namespace zelto {

bool Learner::identifierIsMade(Slot parent, const ItemRecord& record) {
  if (prefixOf_ != table_[parent].inode) {
    prefix_ = tree_.childPrefix(parent);
    prefixOf_ = table_[parent].inode;
  }
  const std::string_view identifier = record.identifier;
  return identifier.size() == prefix_.size() + 1 + record.name.size() && identifier.starts_with(prefix_) &&
         identifier[prefix_.size()] == '/' && identifier.ends_with(record.name);
}

// The node that has the record's identifier already, wherever it stands.
Slot Learner::known(const ItemRecord& record, Slot folder) {
  if (!identifierIsMade(folder, record)) return tree_.loadIdentifier(record.identifier);
  const Slot child = table_.child(folder, record.name);
  if (child != kNoSlot && table_.ownIdentifier(child).empty()) return child;
  return tree_.anyOwnIdentifiers() ? tree_.loadOwnIdentifier(record.identifier) : kNoSlot;
}

// An item that has become of another kind is another one.
void Learner::match(const ItemRecord& record, Slot slot, Slot parent) {
  const Inode parentInode = parent == kNoSlot ? 0 : table_[parent].inode;
  if (slot != kNoSlot && staysAsItIs(slot) && table_[slot].kind != record.fields.kind) return;
  if (slot != kNoSlot && table_[slot].kind != record.fields.kind) {
    replaced_.push_back(table_[slot].inode);
    slot = kNoSlot;
  }
  if (slot != kNoSlot) table_[slot].seen = true;
  matches_.push_back({&record, slot == kNoSlot ? 0 : table_[slot].inode, parentInode});
}

void Learner::matchListing(Slot folder) {
  matches_.reserve(batch_.records().size());
  for (const ItemRecord& record : batch_.records()) {
    const Slot slot = known(record, folder);
    if (isHidden(record, slot)) continue;
    if (slot != kNoSlot && table_[slot].seen) {
      batch_.leftOut().add(record.name, "a second one of the same identifier");
    } else if (slot != kNoSlot && tree_.isBelowOrSelf(folder, slot)) {
      batch_.leftOut().add(record.name, "the folder itself, or one above it");
    } else {
      match(record, slot, folder);
    }
  }
}

void Learner::removeUnseen(Slot folder) {
  std::vector<Slot> unseen;
  table_.forEachChild(folder, [&](Slot child) {
    if (!table_[child].seen && !keptHere(child)) unseen.push_back(child);
  });
  for (const Slot child : unseen) remove(child);
}

Slot Learner::parentOf(const ItemRecord& record, Slot slot) {
  const std::optional<std::string>& identifier = *record.parentIdentifier;
  if (!identifier) return slot == kNoSlot ? kNoSlot : table_[slot].parent;
  if (lastParentIdentifier_ == nullptr || *lastParentIdentifier_ != *identifier) {
    const Slot parent = tree_.loadIdentifier(*identifier);
    lastParentIdentifier_ = &*identifier;
    lastParent_ = parent == kNoSlot ? 0 : table_[parent].inode;
  }
  const Slot parent = lastParent_ == 0 ? kNoSlot : table_.slotForInode(lastParent_);
  if (parent == kNoSlot || table_[parent].kind != NodeKind::folder) return kNoSlot;
  tree_.loadChildren(parent);
  return parent;
}

void Learner::matchUpdates() {
  for (const ItemRecord& record : batch_.records()) {
    const Slot slot = tree_.loadIdentifier(record.identifier);
    if (isHidden(record, slot)) continue;
    const Slot parent = parentOf(record, slot);
    if (slot == kNoSlot && (parent == kNoSlot || !table_[parent].listed)) continue;
    match(record, slot, parent);
  }
}

// What is deleted and updated in one list is there in the end, and stays what it is. Of a folder nobody knows
// whether what was below is there again: that is asked for. It may be one that was put there by us, and what
// went before it was told of late.
void Learner::removeDeleted(const std::vector<std::string>& deletedIdentifiers) {
  std::unordered_set<std::string_view> updated;
  for (const ItemRecord& record : batch_.records()) updated.insert(record.identifier);
  for (const std::string& identifier : deletedIdentifiers) {
    const Slot slot = tree_.loadIdentifier(identifier);
    if (slot == kNoSlot || slot == table_.root()) continue;
    if (updated.contains(identifier)) {
      listTreeAgain(slot);
      continue;
    }
    if (keptHere(slot)) continue;
    remove(slot);
  }
}

// A folder with all that is known below it.
void Learner::listTreeAgain(Slot slot) {
  if (table_[slot].kind != NodeKind::folder || !table_[slot].listed) return;
  listAgain(slot);
  tree_.loadChildren(slot);
  std::vector<Slot> children;  // loading what is below them may move the nodes
  table_.forEachChild(slot, [&children](Slot child) { children.push_back(child); });
  for (const Slot child : children) listTreeAgain(child);
}

}  // namespace zelto
