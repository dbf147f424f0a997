#include "framework/replica/LocalEditor.h"
#include "framework/replica/LocalNames.h"

namespace zelto {
namespace {

using Why = LocalWait::Why;

}  // namespace

std::expected<LocalStep, LocalWait> LocalEditor::beginStep(Inode inode, bool evenIfOpen) {
  noteArrival(inode);
  LocalEntry* const entry = changes_.running(inode);
  if (entry == nullptr || !entry->pending() || entry->inFlight) return std::unexpected(LocalWait{});
  auto step = stepFor(*entry, evenIfOpen);
  if (!step) return step;
  entry->inFlight = true;
  inFlight_.insert(inode);
  using Kind = LocalStep::Kind;
  if (step->kind == Kind::create) changes_.expectAs(inode, step->destination());
  const bool file = step->node.kind == NodeKind::file;
  if (step->kind == Kind::move || (step->kind == Kind::create && !file)) noteAttempt(*step);
  return step;
}

// A node that was moved may stand in its place without having been moved there: its folder has come to be the
// one that the server has it in.
void LocalEditor::noteArrival(Inode inode) {
  const LocalEntry* const known = changes_.find(inode);
  const Slot slot = table().slotForInode(inode);
  if (known == nullptr || slot == kNoSlot || !known->bound || !known->moved || known->inFlight) return;
  if (!isPlaceOf(known->identifier, table()[slot].parent, known->name)) return;
  LocalEntry entry = *known;
  entry.moved = false;
  entry.identifier.clear();
  entry.settled = changes_.nextNumber();
  Draft draft;
  putEntry(draft, std::move(entry));
  if (commit(draft) != 0) return;
  table().setOwnIdentifier(slot, {});
  noteLocal(slot);
  putRow(slot, *changes_.find(inode));
}

// Noted before it is sent. Without room in the log it is sent all the same: then a lost answer may come to a
// second item, but no content is lost.
void LocalEditor::noteAttempt(const LocalStep& step) {
  const LocalEntry* const known = changes_.find(step.node.inode);
  if (known == nullptr) return;
  LocalEntry entry = *known;
  const bool places = step.kind == LocalStep::Kind::create || step.kind == LocalStep::Kind::move;
  entry.attempt = places ? step.destination() : step.identifier;
  entry.sent = {step.node.size, step.node.modifiedNs, step.kind != LocalStep::Kind::create,
                step.contentDigest};
  Draft draft;
  putEntry(draft, std::move(entry));
  static_cast<void>(commit(draft));
}

// Whether it may be on the server where neither its place here nor what is known of the server says.
bool LocalEditor::isPlaceUncertain(const LocalEntry& entry, Slot slot) const {
  if (entry.attempt.empty()) return false;
  if (slot == kNoSlot) return entry.bound && entry.attempt != entry.identifier;
  if (entry.bound) return entry.attempt != around_.tree.identifier(slot);
  return !isPlaceOf(entry.attempt, table()[slot].parent, entry.name);
}

// The same again as before: its end tells where the server has the item.
LocalStep LocalEditor::repeatedStep(const LocalEntry& entry) const {
  LocalStep step = blankStep(entry, entry.bound ? LocalStep::Kind::move : LocalStep::Kind::create);
  const auto cut = entry.attempt.rfind('/');
  step.parentIdentifier = entry.attempt.substr(0, cut);
  step.name = entry.attempt.substr(cut + 1);
  step.repeated = true;
  return step;
}

// What comes next of an entry's own, whoever is in its way.
LocalEditor::Next LocalEditor::nextFor(const LocalEntry& entry, bool evenIfOpen) const {
  const Slot slot = table().slotForInode(entry.inode);
  const bool uncertain = isPlaceUncertain(entry, slot);
  if (uncertain && entry.bound) return Next::repeat;
  if (entry.removed) return entry.bound ? Next::remove : Next::nothing;
  if (slot == kNoSlot) return Next::nothing;
  const bool busy = entry.writers > 0 && !evenIfOpen;
  if (uncertain) return busy ? Next::closing : Next::repeat;
  if (!entry.bound && entry.fields.kind != NodeKind::folder && staysLocal(entry.name)) return Next::stayHere;
  if (entry.bound && entry.metadata != 0 && !entry.content && !entry.moved) return Next::metadata;
  if (entry.bound && entry.content && !busy) return Next::upload;
  if (entry.bound && !entry.moved) return busy ? Next::closing : Next::nothing;
  return !entry.bound && busy ? Next::closing : Next::place;
}

std::expected<LocalStep, LocalWait> LocalEditor::stepFor(const LocalEntry& entry, bool evenIfOpen) const {
  using Kind = LocalStep::Kind;
  const Next next = nextFor(entry, evenIfOpen);
  if (next == Next::nothing) return std::unexpected(LocalWait{});
  if (next == Next::closing) return std::unexpected(LocalWait{Why::writing, 0});
  if (next == Next::stayHere) return std::unexpected(LocalWait{Why::staysLocal, 0});
  if (const auto obstacle = obstacleFor(entry, next)) {
    auto evading = evadingStep(entry, *obstacle);
    if (!evading && !goesFirst(entry, *obstacle)) {
      return std::unexpected(LocalWait{Why::another, obstacle->another});
    }
    // Not even then while there is something under way below: it would lose its place.
    if (const Inode busy = busyBelow(entry)) return std::unexpected(LocalWait{Why::another, busy});
    if (evading) return *std::move(evading);
  }
  if (next == Next::repeat) return repeatedStep(entry);
  if (next == Next::remove) return blankStep(entry, Kind::remove);
  if (next == Next::upload) return blankStep(entry, Kind::upload);
  if (next == Next::place) return blankStep(entry, entry.bound ? Kind::move : Kind::create);
  LocalStep step = blankStep(entry, Kind::metadata);
  step.metadata = NSFileProviderItemFields{entry.metadata};
  return step;
}

LocalStep LocalEditor::blankStep(const LocalEntry& entry, LocalStep::Kind kind) const {
  LocalStep step;
  step.kind = kind;
  const Slot slot = table().slotForInode(entry.inode);
  if (slot != kNoSlot) {
    step.node = table().info(slot);
    step.identifier = entry.bound ? around_.tree.identifier(slot) : std::string();
    step.parentIdentifier = around_.tree.identifier(table()[slot].parent);
  } else {
    step.node.inode = entry.inode;
    step.node.parent = entry.parent;
    step.node.kind = entry.fields.kind;
    step.node.size = entry.fields.size;
    step.node.modifiedNs = entry.fields.modifiedNs;
    step.node.versionTag = entry.fields.versionTag;
    step.identifier = entry.identifier;
    step.parentIdentifier = entry.identifier.substr(0, entry.identifier.rfind('/'));
  }
  step.name = entry.name;
  step.symlinkTarget = entry.symlinkTarget;
  step.contentRevision = entry.contentRevision;
  if (!entry.attempt.empty()) step.sentBefore = entry.sent;
  step.uncertain = entry.removed && entry.version.empty() && !entry.attempt.empty();
  const VersionTemplate* const base = around_.templates.current();
  const std::string version = entry.bound ? versionOf(entry) : std::string();
  if (base != nullptr && !version.empty()) step.version = base->decode(version).value_or(step.version);
  return step;
}

void LocalEditor::stepFailed(const LocalStep& step, bool refused) {
  const Inode inode = step.node.inode;
  inFlight_.erase(inode);
  uncertainMoves_.erase(inode);
  LocalEntry* const entry = changes_.running(inode);
  if (entry == nullptr) return;
  entry->inFlight = false;
  const bool unsure = !refused && !entry->attempt.empty();
  if (unsure && entry->bound && entry->fields.kind == NodeKind::folder) {
    uncertainMoves_.insert(inode);
  }
  if (!unsure && !entry->bound) changes_.expectAs(inode, {});
  Draft draft;
  if (entry->removed && !entry->bound) {
    unsure ? putEntry(draft, presumed(*entry)) : draft.edit.drop.push_back(inode);
  } else if (!unsure && !entry->attempt.empty()) {
    putEntry(draft, *entry);
    draft.edit.put.back().attempt.clear();
  }
  static_cast<void>(commit(draft));
}

// An item that was removed before it was known whether the server has it: that, too, is to be removed.
LocalEntry LocalEditor::presumed(LocalEntry entry) {
  entry.bound = true;
  entry.moved = false;
  entry.identifier = entry.attempt;
  entry.version.clear();
  return entry;
}

LocalChangeInfo LocalEditor::describe(const LocalEntry& entry) const {
  LocalChangeInfo info;
  info.inode = entry.inode;
  info.kind = entry.fields.kind;
  info.created = !entry.bound;
  info.removed = entry.removed;
  info.moved = entry.moved;
  info.content = entry.content && entry.bound;
  info.metadata = entry.metadata != 0;
  info.inFlight = entry.inFlight;
  info.staysLocal = !entry.bound && info.kind != NodeKind::folder && staysLocal(entry.name);
  const Slot slot = table().slotForInode(entry.inode);
  info.identifier = slot == kNoSlot ? entry.identifier : around_.tree.identifier(slot);
  info.size = slot == kNoSlot ? entry.fields.size : table()[slot].size;
  info.path = entry.name;
  for (Slot at = slot == kNoSlot ? table().slotForInode(entry.parent) : table()[slot].parent;
       at != kNoSlot && at != table().root(); at = table()[at].parent) {
    info.path.insert(0, "/").insert(0, table()[at].name());
  }
  return info;
}

}  // namespace zelto
