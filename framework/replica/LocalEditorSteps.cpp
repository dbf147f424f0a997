#include "framework/replica/LocalEditor.h"
#include "framework/replica/LocalNames.h"

namespace zelto {
namespace {

using Why = LocalWait::Why;
using Result = std::expected<LocalStep, LocalWait>;

Result waitFor(Inode another) { return std::unexpected(LocalWait{Why::another, another}); }

bool isBelow(std::string_view identifier, std::string_view folder) {
  return identifier.size() > folder.size() && identifier.starts_with(folder) &&
         identifier[folder.size()] == '/';
}

}  // namespace

std::expected<LocalStep, LocalWait> LocalEditor::beginStep(Inode inode, bool evenIfOpen) {
  LocalEntry* const entry = changes_.running(inode);
  if (entry == nullptr || !entry->pending() || entry->inFlight) return std::unexpected(LocalWait{});
  if (const Inode moving = movingOnServerAbove(*entry)) return waitFor(moving);
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

// Noted before it is sent. Without room in the log it is sent all the same: then a lost answer may come to a
// second item, but no content is lost.
void LocalEditor::noteAttempt(const LocalStep& step) {
  const LocalEntry* const known = changes_.find(step.node.inode);
  if (known == nullptr) return;
  LocalEntry entry = *known;
  const bool places = step.kind == LocalStep::Kind::create || step.kind == LocalStep::Kind::move;
  entry.attempt = places ? step.destination() : step.identifier;
  entry.sent = {step.node.size, step.node.modifiedNs, step.kind != LocalStep::Kind::create};
  Draft draft;
  putEntry(draft, std::move(entry));
  static_cast<void>(commit(draft));
}

// Whether it may be on the server where neither its place here nor what is known of the server says.
bool LocalEditor::isPlaceUncertain(const LocalEntry& entry, Slot slot) const {
  if (entry.attempt.empty()) return false;
  if (slot == kNoSlot) return entry.bound && entry.attempt != entry.identifier;
  const std::string place =
      entry.bound ? around_.tree.identifier(slot) : derivedIdentifier(table()[slot].parent, entry.name);
  return entry.attempt != place;
}

// The same again as before: its end tells where the server has the item.
std::expected<LocalStep, LocalWait> LocalEditor::repeatedStep(const LocalEntry& entry, Slot slot) {
  LocalStep step = blankStep(entry, entry.bound ? LocalStep::Kind::move : LocalStep::Kind::create);
  if (slot != kNoSlot && entry.bound && entry.fields.kind == NodeKind::folder) {
    if (const Inode busy = busyBelow(step.identifier, slot)) return waitFor(busy);
  }
  const auto cut = entry.attempt.rfind('/');
  step.parentIdentifier = entry.attempt.substr(0, cut);
  step.name = entry.attempt.substr(cut + 1);
  step.repeated = true;
  return step;
}

std::expected<LocalStep, LocalWait> LocalEditor::stepFor(LocalEntry& entry, bool evenIfOpen) {
  const Slot slot = table().slotForInode(entry.inode);
  const bool uncertain = isPlaceUncertain(entry, slot);
  if (uncertain && entry.bound) return repeatedStep(entry, slot);
  if (entry.removed) return removalStep(entry);
  if (slot == kNoSlot) return std::unexpected(LocalWait{});
  const bool file = entry.fields.kind == NodeKind::file;
  if (uncertain && file && entry.writers > 0 && !evenIfOpen) {
    return std::unexpected(LocalWait{Why::writing, 0});
  }
  if (uncertain) return repeatedStep(entry, slot);
  if (!entry.bound && entry.fields.kind != NodeKind::folder && staysLocal(entry.name)) {
    return std::unexpected(LocalWait{Why::staysLocal, 0});
  }
  if (const Inode moving = movingAbove(slot)) return waitFor(moving);
  if (entry.bound && entry.metadata != 0 && !entry.content && !entry.moved) {
    LocalStep step = blankStep(entry, LocalStep::Kind::metadata);
    step.metadata = NSFileProviderItemFields{entry.metadata};
    return step;
  }
  const bool busy = entry.writers > 0 && !evenIfOpen;
  if (entry.bound && entry.content && !busy) return blankStep(entry, LocalStep::Kind::upload);
  if (entry.bound && !entry.moved) return std::unexpected(LocalWait{busy ? Why::writing : Why::nothing, 0});
  if (!entry.bound && file && busy) return std::unexpected(LocalWait{Why::writing, 0});
  return placeStep(entry, slot,
                   blankStep(entry, entry.bound ? LocalStep::Kind::move : LocalStep::Kind::create));
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

// What stood below a removed folder leaves the server first.
std::expected<LocalStep, LocalWait> LocalEditor::removalStep(const LocalEntry& entry) {
  if (!entry.bound) return std::unexpected(LocalWait{});
  if (const LocalEntry* const below = changes_.elsewhereBelow(entry.identifier)) return waitFor(below->inode);
  return blankStep(entry, LocalStep::Kind::remove);
}

// The folder above that is not on the server yet, or is just moving there.
Inode LocalEditor::movingAbove(Slot slot) const {
  for (Slot at = table()[slot].parent; at != table().root() && at != kNoSlot; at = table()[at].parent) {
    if (!table()[at].local) continue;
    const LocalEntry* const above = changes_.find(table()[at].inode);
    if (above != nullptr && (!above->bound || (above->moved && above->inFlight))) return above->inode;
  }
  return 0;
}

// Whether the next step of an entry is about something below a folder of the server: where the server has the
// item, or is to have it.
bool LocalEditor::concernsBelow(const LocalEntry& entry, std::string_view folder) const {
  if (isBelow(entry.attempt, folder)) return true;
  const Slot slot = table().slotForInode(entry.inode);
  if (slot == kNoSlot || entry.removed) return isBelow(entry.identifier, folder);
  return isBelow(around_.tree.identifier(slot), folder) ||
         isBelow(derivedIdentifier(table()[slot].parent, table()[slot].name()), folder);
}

// The folder that just moves away on the server with this item in it; 0 for none. Here the item may stand
// elsewhere, by itself or with a folder around it, or be gone.
Inode LocalEditor::movingOnServerAbove(const LocalEntry& entry) const {
  for (const Inode inode : inFlight_) {
    const LocalEntry* const above = inode == entry.inode ? nullptr : changes_.find(inode);
    if (above != nullptr && above->moved && concernsBelow(entry, above->identifier)) return inode;
  }
  for (const Inode inode : uncertainMoves_) {
    const LocalEntry* const above = inode == entry.inode ? nullptr : changes_.find(inode);
    if (above == nullptr || !above->moved || !concernsBelow(entry, above->identifier)) continue;
    // Of two that are below each other one goes first.
    const bool both = uncertainMoves_.contains(entry.inode) && concernsBelow(*above, entry.identifier);
    if (!both) return inode;
  }
  return 0;
}

// A step that is being taken below a folder, by the place here or by the server's.
Inode LocalEditor::busyBelow(const std::string& identifier, Slot slot) const {
  for (const Inode inode : inFlight_) {
    if (inode == table()[slot].inode) continue;
    const Slot busy = table().slotForInode(inode);
    if (busy != kNoSlot && around_.tree.isBelowOrSelf(busy, slot)) return inode;
    const LocalEntry* const entry = changes_.find(inode);
    if (entry != nullptr && concernsBelow(*entry, identifier)) return inode;
  }
  return 0;
}

// The node that the server still has where this one is to stand; 0 for none.
Inode LocalEditor::occupantOf(const LocalEntry& entry, Slot slot) const {
  const std::string place = derivedIdentifier(table()[slot].parent, entry.name);
  const LocalEntry* there = changes_.elsewhereFor(place);
  if (there == nullptr || there->inode == entry.inode) there = changes_.attemptedAt(place);
  if (there != nullptr && !there->pending()) return 0;
  return there == nullptr || there->inode == entry.inode ? 0 : there->inode;
}

// Whether those in the way lead back to the start: then nobody can go first.
bool LocalEditor::isCircle(Inode start, Inode occupant) const {
  constexpr unsigned kLongest = 64;
  for (unsigned step = 0; step < kLongest && occupant != 0; ++step) {
    if (occupant == start) return true;
    const LocalEntry* const entry = changes_.find(occupant);
    const Slot slot = table().slotForInode(occupant);
    if (entry == nullptr || slot == kNoSlot || !entry->moved || entry->inFlight) return false;
    occupant = occupantOf(*entry, slot);
  }
  return false;
}

std::expected<LocalStep, LocalWait> LocalEditor::placeStep(const LocalEntry& entry, Slot slot,
                                                           LocalStep step) {
  if (entry.bound && entry.fields.kind == NodeKind::folder) {
    if (const Inode busy = busyBelow(step.identifier, slot)) return waitFor(busy);
    // Not into what the server still has below it.
    for (Slot at = table()[slot].parent; at != table().root() && at != kNoSlot; at = table()[at].parent) {
      const LocalEntry* const above = table()[at].local ? changes_.find(table()[at].inode) : nullptr;
      if (above != nullptr && above->moved && isBelow(above->identifier, step.identifier)) {
        return waitFor(above->inode);
      }
    }
  }
  const Inode occupant = occupantOf(entry, slot);
  if (occupant == 0) return step;
  if (!entry.bound || !isCircle(entry.inode, occupant)) return waitFor(occupant);
  step.throughTemporaryName = true;
  step.name = ".zelto-moving-" + std::to_string(entry.inode);
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
  if (unsure && entry->bound && entry->moved && entry->fields.kind == NodeKind::folder) {
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
