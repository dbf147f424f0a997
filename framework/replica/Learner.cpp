#include "framework/replica/Learner.h"

#include <unistd.h>

namespace zelto {

Learner::Learner(LoadedTree& tree, ItemBatch& batch, ReplicaWriter& numbers, ContentStore& contents,
                 ReplicaCounters& counters, const Here& here)
    : tree_(tree),
      table_(tree.table()),
      batch_(batch),
      numbers_(numbers),
      contents_(contents),
      counters_(counters),
      here_(here) {}

void Learner::listing(Slot folder) {
  tree_.loadChildren(folder);
  matchListing(folder);
  unlinkMoved();
  removeUnseen(folder);
  const std::size_t count = batch_.records().size(), known = table_.childCount(folder);
  if (count > known) {
    table_.reserve(count - known);
    table_.reserveChildren(folder, count);
    delta_.added.reserve(count - known);
    chunk_.reserve((count - known) * 192);
  }
  const bool first = !table_[folder].listed;
  table_[folder].listed = true;
  apply();
  if (!first) return;
  chunk_.putListed(table_[folder].inode);
  delta_.firstListed = table_[folder].inode;
}

void Learner::changes(const std::vector<std::string>& deletedIdentifiers) {
  matchUpdates();
  unlinkMoved();
  if (!deletedIdentifiers.empty()) removeDeleted(deletedIdentifiers);
  apply();
}

void Learner::item(Slot slot) {
  if (batch_.records().empty()) return;
  const ItemRecord& record = batch_.records().front();
  // One of another name is about where the node was, or about another item in that place.
  if (record.identifier != tree_.identifier(slot) || isHidden(record, slot)) return;
  Slot parent = parentOf(record, slot);
  if (parent == kNoSlot || tree_.isBelowOrSelf(parent, slot)) parent = table_[slot].parent;
  match(record, slot, parent);
  unlinkMoved();
  apply();
}

// All that moves leaves its place first: two items can change places, and what moves out of a folder that
// is gone does not go with it. What is to stand below itself waits for others to leave, else it stays.
void Learner::unlinkMoved() {
  std::vector<Match*> waiting;
  for (Match& match : matches_) {
    if (match.inode != 0 && !leavesPlace(match)) waiting.push_back(&match);
  }
  while (std::erase_if(waiting, [this](const Match* match) { return leavesPlace(*match); }) > 0) continue;
  for (Match* match : waiting) match->refused = true;
  for (const Inode inode : replaced_) {
    const Slot slot = table_.slotForInode(inode);
    if (slot != kNoSlot) remove(slot);
  }
}

// True when there is nothing, or no longer anything, in the way of the match.
bool Learner::leavesPlace(const Match& match) {
  const Slot slot = table_.slotForInode(match.inode);
  const Slot parent = match.parent == 0 ? kNoSlot : table_.slotForInode(match.parent);
  if (slot == kNoSlot || !table_[slot].linked || table_[slot].local) return true;
  if (parent != kNoSlot && stands(slot, parent, match.record->name)) return true;
  if (parent != kNoSlot && tree_.isBelowOrSelf(parent, slot)) return false;
  unlink(slot);
  return true;
}

void Learner::apply() {
  std::vector<Match*> waiting;
  for (Match& match : matches_) {
    if (match.refused) continue;
    if (match.parent != 0 && table_.slotForInode(match.parent) != kNoSlot) {
      apply(match);
    } else {
      waiting.push_back(&match);
    }
  }
  while (applyWaiting(waiting)) continue;
  for (Match* match : waiting) apply(*match);
  for (const Match& match : matches_) {
    const Slot slot = match.inode == 0 ? kNoSlot : table_.slotForInode(match.inode);
    if (slot != kNoSlot) table_[slot].seen = false;
  }
  for (const Inode inode : skipped_) {
    const Slot slot = table_.slotForInode(inode);
    if (slot != kNoSlot) table_[slot].seen = false;
  }
}

// Those whose folder was not known before this call, or was replaced by it, may find it now. True while there
// were such.
bool Learner::applyWaiting(std::vector<Match*>& waiting) {
  lastParentIdentifier_ = nullptr;
  return std::erase_if(waiting, [this](Match* match) {
           const Slot parent =
               match->record->parentIdentifier->has_value() ? parentOf(*match->record, kNoSlot) : kNoSlot;
           if (parent == kNoSlot) return false;
           match->parent = table_[parent].inode;
           apply(*match);
           return true;
         }) > 0;
}

bool Learner::stands(Slot slot, Slot parent, std::string_view name) const {
  const TableNode& node = table_[slot];
  return node.linked && node.parent == parent && node.name() == name;
}

void Learner::apply(Match& match) {
  const ItemRecord& record = *match.record;
  const Slot parent = match.parent == 0 ? kNoSlot : table_.slotForInode(match.parent);
  const Slot slot = match.inode == 0 ? kNoSlot : table_.slotForInode(match.inode);
  if (slot == kNoSlot) {
    const bool fits = parent != kNoSlot && table_[parent].listed && makeRoom(parent, record);
    if (fits) addNew(match, parent);
  } else if (table_[slot].local) {
    update(slot, record, false);  // it stands where it was put here
  } else if (parent == kNoSlot) {
    if (!keptHere(slot)) remove(slot);  // moved to where nobody has looked yet
  } else if (stands(slot, parent, record.name)) {
    update(slot, record, false);
  } else {
    move(slot, parent, record);
  }
}

// True when nothing of that name stands there any more. What the same call put there stays.
bool Learner::makeRoom(Slot parent, const ItemRecord& record) {
  const Slot occupant = table_.child(parent, record.name);
  if (occupant == kNoSlot) return true;
  if (table_[occupant].local || here_.editor.anyLocalBelow(occupant)) return false;
  if (!table_[occupant].seen) {
    remove(occupant);
    return true;
  }
  batch_.leftOut().add(record.name, "a second one of the same name");
  return false;
}

// By something that the same call added. Most identifiers are made of parent and name, and the name is free.
bool Learner::isTaken(const ItemRecord& record, Slot parent) {
  if (!identifierIsMade(parent, record)) return tree_.loadIdentifier(record.identifier) != kNoSlot;
  return table_.anyOwnIdentifiers() && table_.slotForOwnIdentifier(record.identifier) != kNoSlot;
}

void Learner::addNew(Match& match, Slot parent) {
  const ItemRecord& record = *match.record;
  if (isTaken(record, parent)) {
    return batch_.leftOut().add(record.name, "a second one of the same identifier");
  }
  match.inode = numbers_.nextInode();
  const Slot slot = table_.add(match.inode, parent, record.name, record.fields);
  TableNode& node = table_[slot];
  node.seen = true;
  node.loaded = node.kind == NodeKind::folder;
  setIdentifier(slot, record);
  note(slot, record, record.fields);
  delta_.added.push_back({match.parent, match.inode, std::string(record.name), 0, node.kind});
  ++counters_.items;
  if (!node.loaded) return;
  ++counters_.folders;
  newFolders_.push_back(match.inode);
}

void Learner::move(Slot slot, Slot parent, const ItemRecord& record) {
  if (table_[slot].linked) unlink(slot);
  if (tree_.isBelowOrSelf(parent, slot) || !makeRoom(parent, record)) return remove(slot);
  table_.link(slot, parent, record.name);
  delta_.added.push_back(table_.place(slot));
  update(slot, record, true);
}

void Learner::update(Slot slot, const ItemRecord& record, bool moved) {
  const NodeFields before = table_.fields(slot);
  const NodeFields after = withWhatIsHere(before, record.fields);
  const bool renamed = setIdentifier(slot, record);
  if (!moved && !renamed && before == after) return;
  table_.setFields(slot, after);
  note(slot, record, after);
  noteChange(table_[slot].inode, before, after);
  // Also of one that was settled and is only still noted: the next change here begins from this version.
  if (LocalEntry* const entry = here_.editor.changes().running(table_[slot].inode)) {
    entry->version = batch_.version(record);
  }
}

void Learner::noteChange(Inode inode, NodeFields before, const NodeFields& after) {
  const bool version = before.versionTag != after.versionTag || before.size != after.size;
  if (version && after.kind != NodeKind::folder) {
    delta_.contentChanged.push_back(inode);
    table_.advanceContentEpoch(inode);
    return forgetContent(inode);
  }
  before.versionTag = after.versionTag;
  if (before != after) delta_.metadataChanged.push_back(inode);
}

// True when the node was known under another identifier.
bool Learner::setIdentifier(Slot slot, const ItemRecord& record) {
  if (table_[slot].local) return false;  // matched by the one that it has
  const bool made = identifierIsMade(table_[slot].parent, record);
  const std::string_view own = made ? std::string_view() : record.identifier;
  if (table_.ownIdentifier(slot) == own) return false;
  table_.setOwnIdentifier(slot, own);
  return true;
}

void Learner::note(Slot slot, const ItemRecord& record, const NodeFields& fields) {
  const TableNode& node = table_[slot];
  NodeRow row;
  row.inode = node.inode;
  // What was moved here stands nowhere in the database, and the log of local changes says where.
  const bool moved = node.local && !table_.ownIdentifier(slot).empty();
  row.parent = moved ? 0 : table_[node.parent].inode;
  row.listed = node.listed;
  row.fields = fields;
  row.name = record.name;
  row.ownIdentifier = table_.ownIdentifier(slot);
  row.version = batch_.version(record);
  row.symlinkTarget = record.symlinkTarget;
  const bool ours = (fields.here & kAttributesHere) != 0;
  const std::string attributes =
      ours ? here_.editor.storedText(node.inode, ReplicaReader::Text::attributes) : std::string();
  row.attributes = ours ? attributes : batch_.attributes(record);
  chunk_.putNode(row);
}

// Until it stands somewhere again it belongs to the root, under the identifier that it had.
void Learner::unlink(Slot slot) {
  const TableNode& node = table_[slot];
  delta_.removed.push_back(table_.place(slot));
  if (table_.ownIdentifier(slot).empty()) table_.setOwnIdentifier(slot, tree_.identifier(slot));
  table_.unlink(slot);
  table_[slot].parent = table_.root();
  chunk_.putDetached(node.inode);
}

void Learner::remove(Slot slot) {
  const TableNode& top = table_[slot];
  if (top.linked) delta_.removed.push_back(table_.place(slot));
  std::vector<Slot> subtree{slot};
  std::uint64_t folders = 0;
  for (std::size_t at = 0; at < subtree.size(); ++at) {
    table_.forEachChild(subtree[at], [&](Slot child) { subtree.push_back(child); });
    if (table_[subtree[at]].kind == NodeKind::folder) ++folders;
    if (table_[subtree[at]].kind == NodeKind::file) forgetContent(table_[subtree[at]].inode);
  }
  chunk_.putRemoval(top.inode, subtree.size(), folders);
  counters_.items -= static_cast<std::int64_t>(subtree.size());
  counters_.folders -= static_cast<std::int64_t>(folders);
  for (auto each = subtree.rbegin(); each != subtree.rend(); ++each) table_.remove(*each);
}

void Learner::forgetContent(Inode inode) {
  if (auto removed = contents_.remove(inode)) gone_.push_back(std::move(*removed));
}

ReplicaDelta Learner::finish() {
  for (const ContentStore::Removed& content : gone_) ::unlink(content.path.c_str());
  gone_.clear();
  batch_.leftOut().report();
  return std::move(delta_);
}

}  // namespace zelto
