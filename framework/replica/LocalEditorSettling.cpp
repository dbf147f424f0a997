#include "framework/replica/Digest.h"
#include "framework/replica/ItemBatch.h"
#include "framework/replica/LocalEditor.h"
#include "framework/replica/VersionTemplate.h"

namespace zelto {

ReplicaDelta LocalEditor::settle(const LocalStep& step, const NSFileProviderItemPtr& item) {
  inFlight_.erase(step.node.inode);
  uncertainMoves_.erase(step.node.inode);
  LocalEntry* const running = changes_.running(step.node.inode);
  if (running == nullptr) return {};
  running->inFlight = false;
  LocalEntry next = *running;
  next.attempt.clear();
  if (step.kind == LocalStep::Kind::remove) return settleRemoval(next, step.identifier);
  const Slot slot = table().slotForInode(next.inode);
  if (slot == kNoSlot) {
    // Removed meanwhile: what is there now is to be removed.
    if (step.kind == LocalStep::Kind::metadata) return {};
    const bool places = step.kind == LocalStep::Kind::create || step.kind == LocalStep::Kind::move;
    if (places) next.identifier = step.destination();
    next.bound = next.removed = true;
    takeItem(kNoSlot, next, item, true);
    const std::string identifier = next.identifier;
    Draft draft;
    if (step.kind == LocalStep::Kind::move) followMove(step.identifier, identifier, draft);
    putEntry(draft, std::move(next));
    if (commit(draft) == 0) changes_.noteSettled(step.node.inode, identifier);
    return {};
  }
  next.fields = table().fields(slot);
  return settleBound(step, item, std::move(next), slot);
}

ReplicaDelta LocalEditor::settleRemoval(const LocalEntry& entry, const std::string& identifier) {
  const Inode inode = entry.inode;
  Draft draft;
  putGone(draft, entry);
  if (commit(draft) == 0) changes_.noteSettled(inode, identifier);
  return {};
}

// What the server says of the item, as far as nothing else was set here.
void LocalEditor::takeItem(Slot slot, LocalEntry& next, const NSFileProviderItemPtr& item, bool content) {
  if (!item) return;
  const ItemBatch batch({item}, around_.templates, around_.traits);
  if (batch.records().empty()) return;
  const ItemRecord& record = batch.records().front();
  if (content || !next.content) next.version = batch.version(record);
  if (slot == kNoSlot) return;
  NodeFields& fields = next.fields;
  fields.capabilities = record.fields.capabilities;
  fields.flags = record.fields.flags;
  fields.traits = record.fields.traits;
  if (!content && next.content) return;
  // The tag of the version alone, as a listing will have it: of a link too, whose place a file keeps there.
  if (const auto version = item->itemVersion()) fields.versionTag = versionTag(*version);
  if (fields.modifiedNs == record.fields.modifiedNs || (fields.here & kDatesHere) != 0) return;
  if (fields.kind == NodeKind::folder) {
    fields.modifiedNs = record.fields.modifiedNs;
  } else {
    fields.here |= kDatesHere;  // as it was written here, for as long as these bytes are the server's
  }
}

void LocalEditor::settleContent(LocalEntry& next, const LocalStep& step) const {
  next.takenRevision = step.contentRevision;
  if (next.writers == 0 && next.contentRevision == step.contentRevision) next.content = false;
}

void LocalEditor::bindTo(Slot slot, LocalEntry& next, const std::string& identifier) {
  next.bound = true;
  next.moved = !isPlaceOf(identifier, table()[slot].parent, table()[slot].name());
  next.identifier = next.moved ? identifier : std::string();
}

ReplicaDelta LocalEditor::settleBound(const LocalStep& step, const NSFileProviderItemPtr& item,
                                      LocalEntry next, Slot slot) {
  using Kind = LocalStep::Kind;
  const bool sentContent = step.kind == Kind::create || step.kind == Kind::upload;
  Draft draft;
  std::string identifier = step.identifier;
  if (step.kind == Kind::create || step.kind == Kind::move) {
    const bool told = item && item->itemIdentifier() && step.kind == Kind::create;
    identifier = told ? *item->itemIdentifier() : step.destination();
    bindTo(slot, next, identifier);
    if (step.kind == Kind::move) followMove(step.identifier, identifier, draft);
  }
  if (step.kind == Kind::metadata) {
    next.metadata &= ~static_cast<std::uint64_t>(step.metadata);
  } else {
    takeItem(slot, next, item, sentContent);
  }
  if (sentContent && next.fields.kind == NodeKind::file) settleContent(next, step);
  next.settled = changes_.nextNumber();
  const LocalEntry noted = next;
  putEntry(draft, std::move(next));
  if (commit(draft) != 0) return {};  // the step will be taken again
  changes_.noteSettled(noted.inode, step.identifier);
  changes_.noteSettled(noted.inode, identifier);
  table().setOwnIdentifier(slot, noted.moved ? std::string_view(noted.identifier) : std::string_view());
  table().setFields(slot, noted.fields);
  noteLocal(slot);
  if (noted.fields.kind == NodeKind::file && !noted.content) {
    around_.contents.taken(noted.inode, noted.fields.versionTag, noted.fields.size);
  }
  putRow(slot, noted);
  ReplicaDelta delta;
  delta.metadataChanged.push_back(noted.inode);
  return delta;
}

// Everything that the server has below a folder has another identifier once the folder has moved there.
void LocalEditor::followMove(const std::string& from, const std::string& to, Draft& draft) {
  const std::string prefix = from + "/";
  changes_.forEach([&](const LocalEntry& entry) {
    LocalEntry followed = entry;
    if (entry.attempt.starts_with(prefix)) followed.attempt = to + entry.attempt.substr(from.size());
    if (!entry.identifier.starts_with(prefix) || !entry.bound) {
      if (followed.attempt != entry.attempt) putEntry(draft, std::move(followed));
      return;
    }
    followed.identifier = to + entry.identifier.substr(from.size());
    const Slot slot = table().slotForInode(entry.inode);
    if (slot != kNoSlot && !entry.removed) table().setOwnIdentifier(slot, followed.identifier);
    putEntry(draft, std::move(followed));
  });
}

void LocalEditor::putRow(Slot slot, const LocalEntry& next) {
  const TableNode& node = table()[slot];
  const std::string version = versionOf(next);
  const std::string attributes =
      next.attributesHere ? next.attributes : storedText(next.inode, ReplicaReader::Text::attributes);
  NodeRow row;
  row.inode = node.inode;
  // One that the server has elsewhere stands nowhere in the database: the log says where it is here.
  row.parent = next.moved ? 0 : table()[node.parent].inode;
  row.listed = node.listed;
  row.fields = next.fields;
  row.name = node.name();
  row.ownIdentifier = table().ownIdentifier(slot);
  row.version = version;
  row.symlinkTarget = next.symlinkTarget;
  row.attributes = attributes;
  JournalChunk chunk;
  chunk.putNode(row);
  chunk.putSettled(next.settled);
  around_.journal.push(std::move(chunk));
  if (!next.pending()) changes_.forgetAfter(next.inode, around_.journal.pushedSoFar());
}

}  // namespace zelto
