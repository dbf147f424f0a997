#include <algorithm>
#include <cstddef>
#include <functional>

#include "framework/replica/LocalEditor.h"

// Which change comes first where one is in the other's way on the server.
namespace zelto {
namespace {

bool isBelow(std::string_view identifier, std::string_view folder) {
  return identifier.size() > folder.size() && identifier.starts_with(folder) &&
         identifier[folder.size()] == '/';
}

std::string temporaryName(const LocalEntry& entry) { return ".zelto-moving-" + std::to_string(entry.inode); }

}  // namespace

// The folder above that is not on the server yet, or is just moving there.
Inode LocalEditor::movingAbove(Slot slot) const {
  for (Slot at = table()[slot].parent; at != table().root() && at != kNoSlot; at = table()[at].parent) {
    if (!table()[at].local) continue;
    const LocalEntry* const above = changes_.find(table()[at].inode);
    if (above != nullptr && (!above->bound || !above->attempt.empty())) return above->inode;
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

// Where the server had an item last, as far as that is known.
std::string LocalEditor::placeOnServer(const LocalEntry& entry) const {
  const Slot slot = table().slotForInode(entry.inode);
  return slot == kNoSlot ? entry.identifier : around_.tree.identifier(slot);
}

// The folder that just moves away on the server with this item in it, or has perhaps done so; 0 for none.
// Here the item may stand elsewhere, by itself or with a folder around it, or be gone.
Inode LocalEditor::movingOnServerAbove(const LocalEntry& entry) const {
  return moving([&](Inode inode, const std::string& place) {
    return inode != entry.inode && concernsBelow(entry, place);
  });
}

// A folder that is just moving on the server, or has perhaps moved there, for which the question about where
// it stood is answered with yes; 0 for none.
Inode LocalEditor::moving(const std::function<bool(Inode, const std::string& place)>& concerns) const {
  for (const auto* moves : {&inFlight_, &uncertainMoves_}) {
    for (const Inode inode : *moves) {
      const LocalEntry* const entry = changes_.find(inode);
      if (entry == nullptr || !entry->bound || entry->attempt.empty()) continue;
      if (entry->fields.kind == NodeKind::folder && concerns(inode, placeOnServer(*entry))) return inode;
    }
  }
  return 0;
}

bool LocalEditor::isPlaceKnown(Slot slot) const {
  if (changes_.empty()) return true;
  const LocalEntry* const entry = table()[slot].local ? changes_.find(table()[slot].inode) : nullptr;
  // One that the server does not have yet may bear the path of one that has still to leave it.
  if (entry != nullptr && (!entry->bound || isPlaceUncertain(*entry, slot))) return false;
  const std::string identifier = around_.tree.identifier(slot);
  return moving([&](Inode, const std::string& place) { return isBelow(identifier, place); }) == 0;
}

// A step that is being taken below a folder that the server has, by the place here or by the server's.
Inode LocalEditor::busyBelow(const LocalEntry& folder) const {
  if (!folder.bound || folder.fields.kind != NodeKind::folder) return 0;
  const Slot slot = table().slotForInode(folder.inode);
  const std::string identifier = placeOnServer(folder);
  for (const Inode inode : inFlight_) {
    if (inode == folder.inode) continue;
    const Slot busy = table().slotForInode(inode);
    if (slot != kNoSlot && busy != kNoSlot && around_.tree.isBelowOrSelf(busy, slot)) return inode;
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

// A folder above here that the server still has below this one: it leaves first.
Inode LocalEditor::leavingFromBelow(const std::string& identifier, Slot slot) const {
  for (Slot at = table()[slot].parent; at != table().root() && at != kNoSlot; at = table()[at].parent) {
    const LocalEntry* const above = table()[at].local ? changes_.find(table()[at].inode) : nullptr;
    if (above != nullptr && above->moved && isBelow(above->identifier, identifier)) return above->inode;
  }
  return 0;
}

std::optional<LocalEditor::Obstacle> LocalEditor::obstacleFor(const LocalEntry& entry, Next next) const {
  const auto obstacle = [](Inode another) {
    return another == 0 ? std::nullopt : std::optional(Obstacle{another, false});
  };
  if (const Inode moving = movingOnServerAbove(entry)) return obstacle(moving);
  if (next == Next::remove) {
    // What stood below a removed folder leaves the server first.
    const LocalEntry* const below = changes_.elsewhereBelow(entry.identifier);
    return obstacle(below == nullptr ? 0 : below->inode);
  }
  const Slot slot = table().slotForInode(entry.inode);
  if (slot == kNoSlot) return {};
  if (next == Next::repeat) return obstacle(busyBelow(entry));
  if (const Inode moving = movingAbove(slot)) return obstacle(moving);
  if (next != Next::place) return {};
  if (const Inode busy = busyBelow(entry)) return obstacle(busy);
  if (entry.bound && entry.fields.kind == NodeKind::folder) {
    if (const Inode leaving = leavingFromBelow(placeOnServer(entry), slot)) return obstacle(leaving);
  }
  const Inode occupant = occupantOf(entry, slot);
  return occupant == 0 ? std::nullopt : std::optional(Obstacle{occupant, true});
}

// Those who wait for one another, from the entry on, if that leads back to it; else nothing.
std::vector<LocalEditor::Waiting> LocalEditor::circleOf(const LocalEntry& start,
                                                        const Obstacle& obstacle) const {
  constexpr std::size_t kLongest = 256;
  std::vector<Waiting> circle{{&start, obstacle}};
  for (;;) {
    const Inode another = circle.back().obstacle.another;
    if (another == start.inode) return circle;
    const LocalEntry* const entry = changes_.find(another);
    if (entry == nullptr || !entry->pending() || entry->inFlight || circle.size() == kLongest) return {};
    const Next next = nextFor(*entry, false);
    if (next == Next::nothing || next == Next::closing || next == Next::stayHere) return {};
    const auto further = obstacleFor(*entry, next);
    if (!further) return {};
    circle.push_back({entry, *further});
  }
}

// Nobody in a circle can go first. There is a place in it that one waits for and another still has: whoever
// can move by now goes aside, to a temporary name beside that place. All of the circle choose the same one.
std::optional<LocalStep> LocalEditor::evadingStep(const LocalEntry& entry, const Obstacle& obstacle) const {
  auto circle = circleOf(entry, obstacle);
  const auto wantsPlace = [](const Waiting& waiting) { return waiting.obstacle.forPlace; };
  const auto byInode = [](const Waiting& a, const Waiting& b) { return a.entry->inode < b.entry->inode; };
  const auto lowest = std::ranges::min_element(circle, byInode);
  std::ranges::rotate(circle, lowest);
  const auto wants = std::ranges::find_if(circle, wantsPlace);
  if (wants == circle.end()) return {};
  const Slot parent = table()[table().slotForInode(wants->entry->inode)].parent;
  std::ranges::rotate(circle, wants);
  const auto goes = std::ranges::find_if(circle, [this](const Waiting& waiting) {
    const LocalEntry& each = *waiting.entry;
    return each.bound && each.moved && !isPlaceUncertain(each, table().slotForInode(each.inode)) &&
           !each.identifier.ends_with("/" + temporaryName(each));
  });
  if (goes == circle.end() || goes->entry != &entry) return {};
  LocalStep step = blankStep(entry, LocalStep::Kind::move);
  step.throughTemporaryName = true;
  step.parentIdentifier = around_.tree.identifier(parent);
  step.name = temporaryName(entry);
  return step;
}

// Of several moves of folders in one another whose end is not known, one is found out about first.
bool LocalEditor::goesFirst(const LocalEntry& entry, const Obstacle& obstacle) const {
  const auto circle = circleOf(entry, obstacle);
  return !circle.empty() && std::ranges::all_of(circle, [&](const Waiting& waiting) {
    return uncertainMoves_.contains(waiting.entry->inode) && entry.inode <= waiting.entry->inode;
  });
}

}  // namespace zelto
