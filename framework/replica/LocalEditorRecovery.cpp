#include <map>
#include <unordered_set>
#include <vector>

#include <fmt/format.h>

#include "framework/replica/LocalEditor.h"
#include "framework/replica/ReplicaFiles.h"

namespace zelto {

// Whether there is anything to be made of what was noted, and whether its bytes are here.
bool LocalEditor::isOfUse(LocalEntry& entry) {
  if (!entry.pending() && !isNewerThanDatabase(entry)) return false;
  if (entry.gone) return true;
  if (!entry.bound) {
    if (entry.removed && entry.attempt.empty()) return false;
    if (entry.removed) entry = presumed(std::move(entry));
    entry.identifier = entry.attempt;
  }
  const bool file = entry.fields.kind == NodeKind::file;
  // The server has these bytes; they were to be put with the others once the database had heard of that.
  if (file && !entry.pending()) around_.contents.findLocal(entry.inode, entry.fields.versionTag);
  if (entry.content && file) {
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
  const bool mayHaveMoved = entry.bound && entry.fields.kind == NodeKind::folder;
  if (mayHaveMoved && !entry.attempt.empty()) uncertainMoves_.insert(entry.inode);
  return true;
}

// Whether the database's row, if there is one, counts for nothing.
bool LocalEditor::isRowWrong(const LocalEntry& entry) { return entry.removed || entry.gone || !entry.bound; }

// Leaves its place, so that another can have it.
void LocalEditor::setAside(const LocalEntry& entry) {
  const Slot slot = around_.tree.loadNode(entry.inode);
  if (slot == kNoSlot) return;
  leavePlace(slot);
}

void LocalEditor::leavePlace(Slot slot) {
  if (table().ownIdentifier(slot).empty()) table().setOwnIdentifier(slot, around_.tree.identifier(slot));
  table().unlink(slot);
  table()[slot].parent = table().root();
}

// What stands in the place of a node that is to be restored: one that will be restored to another place, or
// one that was replaced before the database heard of it. No content is touched.
void LocalEditor::clearPlace(Slot occupant, const std::unordered_set<Inode>& noted) {
  if (noted.contains(table()[occupant].inode)) return leavePlace(occupant);
  JournalChunk chunk;
  chunk.putRemoval(table()[occupant].inode, 0, 0);
  around_.journal.push(std::move(chunk));
  dropFromMemory(occupant);
}

// The database keeps its rows, and what was moved out of it stays in memory.
void LocalEditor::dropFromMemory(Slot slot) {
  std::vector<Slot> children;
  table().forEachChild(slot, [&](Slot child) { children.push_back(child); });
  for (const Slot child : children) dropFromMemory(child);
  if (table()[slot].kind == NodeKind::folder) --around_.counters.folders;
  --around_.counters.items;
  table().remove(slot);
}

// What the server said last, as far as nothing else was set here; of what the database knows an older state,
// or none, as it was noted.
NodeFields LocalEditor::restoredFields(const LocalEntry& entry, Slot slot) const {
  if (slot == kNoSlot) return entry.fields;
  NodeFields fields = table().fields(slot);
  if (entry.content || isNewerThanDatabase(entry)) {
    NodeFields noted = entry.fields;
    noted.traits = fields.traits;
    return noted;
  }
  fields.here = entry.fields.here;
  if ((fields.here & kDatesHere) == 0) return fields;
  fields.modifiedNs = entry.fields.modifiedNs;
  fields.createdNs = entry.fields.createdNs;
  fields.accessedNs = entry.fields.accessedNs;
  return fields;
}

void LocalEditor::addRestored(const LocalEntry& entry, Slot folder) {
  const bool isFolder = entry.fields.kind == NodeKind::folder;
  const Slot slot = table().add(entry.inode, folder, entry.name, entry.fields);
  table()[slot].listed = entry.listed;
  table()[slot].loaded = !entry.bound && isFolder;
  const bool counted = entry.bound && around_.reader.parent(entry.inode).has_value();
  if (counted) return;
  ++around_.counters.items;
  if (isFolder) ++around_.counters.folders;
}

// Puts a node at its place here. False when its folder is not known (yet).
bool LocalEditor::restore(LocalEntry& entry, const std::unordered_set<Inode>& noted) {
  const Slot folder = around_.tree.loadNode(entry.parent);
  if (folder == kNoSlot || table()[folder].kind != NodeKind::folder) return false;
  const bool setAside = folder != table().root() && !table()[folder].linked;
  if (setAside) return false;
  around_.tree.loadChildren(folder);
  Slot slot = table().slotForInode(entry.inode);
  if (slot != kNoSlot && around_.tree.isBelowOrSelf(folder, slot)) return false;
  const Slot occupant = table().child(folder, entry.name);
  if (occupant != kNoSlot && occupant != slot) clearPlace(occupant, noted);
  entry.fields = restoredFields(entry, slot);
  if (entry.bound && !isNewerThanDatabase(entry) && !entry.content && slot != kNoSlot) {
    entry.version = storedText(entry.inode, ReplicaReader::Text::version);
  }
  if (slot == kNoSlot) {
    addRestored(entry, folder);
    slot = table().slotForInode(entry.inode);
  } else {
    if (table()[slot].linked) table().unlink(slot);  // only found with a folder that was moved
    table().link(slot, folder, entry.name);
    table().setFields(slot, entry.fields);
  }
  table().setOwnIdentifier(slot, entry.bound && entry.moved ? std::string_view(entry.identifier) : "");
  table()[slot].local = entry.pending();
  return true;
}

int LocalEditor::recover() {
  auto kept = changes_.read();
  if (!kept) return kept.error();
  std::erase_if(*kept, [this](LocalEntry& entry) { return !isOfUse(entry); });
  for (const LocalEntry& entry : *kept) {
    if (isRowWrong(entry)) around_.tree.hide(entry.inode);
  }
  for (const LocalEntry& entry : *kept) {
    if (!isRowWrong(entry)) setAside(entry);
  }
  std::vector<LocalEntry*> waiting;
  std::unordered_set<Inode> noted;
  for (LocalEntry& entry : *kept) {
    noted.insert(entry.inode);
    if (!entry.removed && !entry.gone) waiting.push_back(&entry);
  }
  while (std::erase_if(waiting, [&](LocalEntry* entry) { return restore(*entry, noted); }) > 0) continue;
  for (LocalEntry* entry : waiting) {
    if (const Slot slot = table().slotForInode(entry->inode); slot != kNoSlot) dropFromMemory(slot);
    entry->gone = !entry->pending();  // what the server has comes back by being listed
    if (entry->gone) continue;
    reportLine(fmt::format("a local change of \"{}\" has lost its folder; what it holds is kept in local/{}",
                           entry->name, entry->inode));
  }
  const int code = changes_.begin(*std::move(kept), settledInDatabase_);
  if (code == 0) tellDatabaseAgain();
  around_.contents.sweepLocal([this](Inode inode) {
    const LocalEntry* const entry = changes_.find(inode);
    return entry != nullptr && !entry->gone && (entry->content || !entry->pending());
  });
  return code;
}

// Of what an earlier process noted and the database did not come to hear.
void LocalEditor::tellDatabaseAgain() {
  std::map<std::uint64_t, Inode> missing;
  changes_.forEach([&](const LocalEntry& entry) {
    if (isNewerThanDatabase(entry)) missing.emplace(entry.settled, entry.inode);
  });
  for (const auto& [number, inode] : missing) {
    const LocalEntry& entry = *changes_.find(inode);
    const Slot slot = table().slotForInode(inode);
    if (entry.gone || !entry.bound) {
      pushRemoval(entry);
    } else if (slot != kNoSlot) {
      putRow(slot, entry);
    }
  }
}

}  // namespace zelto
