#include <cerrno>
#include <chrono>

#include <unistd.h>

#include "framework/replica/LocalEditor.h"
#include "framework/replica/LocalNames.h"

namespace zelto {
namespace {

using Capabilities = NSFileProviderItemCapabilities;
using Flags = NSFileProviderFileSystemFlags;

// Until the server says otherwise, whoever made it may do everything with it.
constexpr Capabilities kNewCapabilities = Capabilities::allowsReading | Capabilities::allowsWriting |
                                          Capabilities::allowsReparenting | Capabilities::allowsRenaming |
                                          Capabilities::allowsTrashing | Capabilities::allowsDeleting;

NodeFields newFields(const NewNode& what) {
  NodeFields fields;
  fields.kind = what.kind;
  fields.capabilities = static_cast<std::uint16_t>(kNewCapabilities);
  Flags flags = Flags::userReadable | Flags::userWritable;
  if (what.kind == NodeKind::folder) flags = flags | Flags::userExecutable;
  fields.flags = static_cast<std::uint8_t>(flags);
  fields.size = what.symlinkTarget.size();
  fields.modifiedNs = fields.createdNs = fields.accessedNs = nowNs();
  if (what.kind != NodeKind::symlink) {
    fields.here = static_cast<std::uint16_t>(kPermissionsHere | (what.permissions & kPermissionBits));
  } else {
    fields.here = kLinkHere;
  }
  return fields;
}

}  // namespace

std::int64_t nowNs() {
  using namespace std::chrono;
  return duration_cast<nanoseconds>(system_clock::now().time_since_epoch()).count();
}

LocalEntry LocalEditor::entryOf(Slot slot) {
  const TableNode& node = table()[slot];
  LocalEntry entry;
  if (const LocalEntry* known = changes_.find(node.inode)) {
    entry = *known;
  } else {
    entry.bound = true;
    entry.inode = node.inode;
    // Whatever is noted of a link from now on says where it leads.
    if (node.kind == NodeKind::symlink) {
      entry.symlinkTarget = storedText(node.inode, ReplicaReader::Text::symlinkTarget);
    }
  }
  // The database may be about to hear of it only.
  if (entry.bound && entry.version.empty()) entry.version = versionOf(entry);
  if (!entry.pending()) entry.order = changes_.nextNumber();
  entry.inode = node.inode;
  entry.parent = table()[node.parent].inode;
  entry.name = node.name();
  entry.fields = table().fields(slot);
  entry.listed = node.listed;
  return entry;
}

// What is still to be written is newer than what the database has.
std::string LocalEditor::storedText(Inode inode, ReplicaReader::Text which) const {
  using Text = ReplicaReader::Text;
  Journal::Chunk keepsAlive;
  const auto row = around_.journal.find(inode, keepsAlive);
  if (!row) return around_.reader.text(inode, which);
  if (which == Text::version) return std::string(row->version);
  return std::string(which == Text::symlinkTarget ? row->symlinkTarget : row->attributes);
}

std::string LocalEditor::derivedIdentifier(Slot folder, std::string_view name) const {
  return around_.tree.childPrefix(folder).append("/").append(name);
}

// Whether the server has an item in just this place. A folder that it does not have yet may bear the path of
// one that it still has there.
bool LocalEditor::isPlaceOf(std::string_view identifier, Slot folder, std::string_view name) const {
  return isOnServer(folder) && derivedIdentifier(folder, name) == identifier;
}

bool LocalEditor::isOnServer(Slot folder) const {
  for (; folder != table().root() && folder != kNoSlot; folder = table()[folder].parent) {
    const LocalEntry* const entry = table()[folder].local ? changes_.find(table()[folder].inode) : nullptr;
    if (entry != nullptr && !entry->bound) return false;
  }
  return true;
}

void LocalEditor::noteLocal(Slot slot) {
  const LocalEntry* const entry = changes_.find(table()[slot].inode);
  table()[slot].local = entry != nullptr && entry->pending();
}

void LocalEditor::touchFolder(Slot folder) {
  if (folder == table().root()) return;
  NodeFields fields = table().fields(folder);
  fields.modifiedNs = nowNs();
  table().setFields(folder, fields);
}

// The node counts no longer in memory; the database is told of one row.
void LocalEditor::pushRemoval(const LocalEntry& entry) {
  JournalChunk chunk;
  chunk.putRemoval(entry.inode, 1, entry.fields.kind == NodeKind::folder ? 1 : 0);
  chunk.putSettled(entry.settled);
  around_.journal.push(std::move(chunk));
  if (entry.gone) changes_.forgetAfter(entry.inode, around_.journal.pushedSoFar());
}

// The entry, to be put in the same draft, stands for a node that the database is not to know.
void LocalEditor::forgetRow(Draft& draft, LocalEntry& entry) {
  entry.settled = changes_.nextNumber();
  draft.rowsGone.push_back(entry.inode);
}

// Of the node nothing is left, but for what the database may have.
void LocalEditor::putGone(Draft& draft, const LocalEntry& entry) {
  LocalEntry gone;
  gone.inode = entry.inode;
  gone.parent = entry.parent;
  gone.name = entry.name;
  gone.fields.kind = entry.fields.kind;
  gone.gone = true;
  forgetRow(draft, gone);
  around_.tree.hide(gone.inode);
  putEntry(draft, std::move(gone));
}

int LocalEditor::commit(Draft& draft) {
  // Of these the log will not vouch for a local file any more.
  std::vector<Inode> taken;
  for (const LocalEntry& entry : draft.edit.put) {
    const bool own = entry.content || entry.writers > 0 || entry.removed || !entry.pending();
    if (!own && entry.fields.kind == NodeKind::file) taken.push_back(entry.inode);
  }
  if (const int code = changes_.apply(std::move(draft.edit))) return code;
  for (const Inode inode : taken) around_.contents.comeBack(inode);
  for (const Inode inode : draft.rowsGone) pushRemoval(*changes_.find(inode));
  if (draft.unbound != kNoSlot) {
    table().setOwnIdentifier(draft.unbound, {});
    noteLocal(draft.unbound);
  }
  return 0;
}

std::string LocalEditor::versionOf(const LocalEntry& entry) const {
  return entry.version.empty() ? storedText(entry.inode, ReplicaReader::Text::version) : entry.version;
}

bool LocalEditor::mayTakeOver(const LocalEntry& entry) const {
  return !entry.bound && !entry.inFlight && !entry.removed && entry.attempt.empty() &&
         entry.fields.kind == NodeKind::file && !staysLocal(entry.name);
}

bool LocalEditor::mayBeTakenOver(const LocalEntry& entry) const {
  // Where the server has it must be known.
  return entry.bound && !entry.inFlight && entry.fields.kind == NodeKind::file &&
         !isPlaceUncertain(entry, table().slotForInode(entry.inode));
}

// The other one is gone with that, or unbound by the caller.
void LocalEditor::takeOver(LocalEntry& entry, const LocalEntry& from) {
  entry.bound = entry.content = true;
  entry.moved = false;
  entry.identifier.clear();
  entry.version = versionOf(from);
  entry.attempt = from.attempt;
  entry.sent = from.sent;
  entry.fields.versionTag = from.fields.versionTag;
  entry.takenRevision = 0;
  ++entry.contentRevision;
}

// The new file stands where the server has one that was removed or set aside here.
void LocalEditor::takeOverPlace(LocalEntry& entry, const std::string& identifier, Draft& draft) {
  if (!mayTakeOver(entry)) return;
  const LocalEntry* const there = changes_.elsewhereFor(identifier);
  if (there == nullptr || !mayBeTakenOver(*there)) return;
  if (there->removed) {
    putGone(draft, *there);
    takeOver(entry, *there);
  } else {
    takeOverFromBackup(entry, identifier, draft);
  }
}

// A program has renamed the file to its backup's name and writes a new one: the new one is the server's, the
// backup a new local file, given that all of it is here.
bool LocalEditor::takeOverFromBackup(LocalEntry& entry, const std::string& identifier, Draft& draft) {
  const Slot backup = table().slotForOwnIdentifier(identifier);
  if (backup == kNoSlot || !staysLocal(table()[backup].name())) return false;
  LocalEntry aside = entryOf(backup);
  const auto file = around_.contents.file(aside.inode, aside.fields.versionTag, aside.fields.size);
  const auto opened = around_.contents.opened(file);
  if (!opened || !*opened || around_.contents.becomeLocal(*opened, true) != 0) return false;
  takeOver(entry, aside);
  takeAttributes(aside);
  forgetRow(draft, aside);
  aside.bound = aside.moved = false;
  aside.content = true;
  aside.identifier.clear();
  aside.attempt.clear();
  aside.version.clear();
  draft.unbound = backup;
  putEntry(draft, std::move(aside));
  return true;
}

std::expected<Slot, int> LocalEditor::create(Slot folder, std::string_view name, const NewNode& what,
                                             Inode inode) {
  if (table()[folder].kind != NodeKind::folder) return std::unexpected(ENOTDIR);
  around_.tree.loadChildren(folder);
  if (!table()[folder].listed) return std::unexpected(EAGAIN);
  if (table().child(folder, name) != kNoSlot) return std::unexpected(EEXIST);
  LocalEntry entry;
  entry.inode = inode;
  entry.parent = table()[folder].inode;
  entry.name = name;
  entry.fields = newFields(what);
  entry.symlinkTarget = what.symlinkTarget;
  entry.order = changes_.nextNumber();
  entry.listed = what.kind == NodeKind::folder;
  entry.content = entry.writing = what.kind == NodeKind::file;
  entry.contentRevision = 1;
  if (entry.writing) entry.writers = 1;  // who makes a file has it open
  Draft draft;
  if (isOnServer(folder)) takeOverPlace(entry, derivedIdentifier(folder, name), draft);
  const NodeFields fields = entry.fields;
  putEntry(draft, std::move(entry));
  if (const int code = commit(draft)) return std::unexpected(code);

  const Slot slot = table().add(inode, folder, name, fields);
  TableNode& node = table()[slot];
  node.loaded = node.listed = what.kind == NodeKind::folder;
  node.local = true;
  touchFolder(folder);
  ++around_.counters.items;
  if (what.kind == NodeKind::folder) ++around_.counters.folders;
  return slot;
}

int LocalEditor::mayBeReplaced(Slot target, Slot by) {
  const bool folder = table()[target].kind == NodeKind::folder;
  const bool byFolder = table()[by].kind == NodeKind::folder;
  if (folder != byFolder) return folder ? EISDIR : ENOTDIR;
  if (!folder) return 0;
  around_.tree.loadChildren(target);
  if (!table()[target].listed) return EAGAIN;
  return table().childCount(target) > 0 ? ENOTEMPTY : 0;
}

// The local file that stands where the server has the given identifier.
Slot LocalEditor::successorAt(const std::string& identifier) {
  const std::size_t cut = identifier.rfind('/');
  if (cut == std::string::npos) return kNoSlot;
  const Slot folder =
      cut == 0 ? table().root() : around_.tree.loadIdentifier(std::string_view(identifier).substr(0, cut));
  if (folder == kNoSlot || !isOnServer(folder)) return kNoSlot;
  const Slot slot = table().child(folder, std::string_view(identifier).substr(cut + 1));
  if (slot == kNoSlot) return kNoSlot;
  const LocalEntry* const entry = changes_.find(table()[slot].inode);
  return entry != nullptr && mayTakeOver(*entry) ? slot : kNoSlot;
}

// Drafts what becomes of a node that goes: nothing when the server does not know it, else a removal, unless
// another file takes over what the server has.
void LocalEditor::leave(Slot slot, Draft& draft, LocalEntry* successor) {
  LocalEntry entry = entryOf(slot);
  if (!entry.bound && !entry.inFlight && entry.attempt.empty()) {
    // The database may have it from when it was the server's.
    return entry.settled == 0 ? draft.edit.drop.push_back(entry.inode) : putGone(draft, entry);
  }
  const bool unsure = !entry.bound && !entry.inFlight;
  if (unsure) entry = presumed(std::move(entry));
  if (entry.bound && !entry.moved && !unsure) entry.identifier = around_.tree.identifier(slot);
  if (!unsure && mayBeTakenOver(entry)) {
    if (successor != nullptr && !entry.moved && mayTakeOver(*successor)) {
      takeOver(*successor, entry);
      return putGone(draft, entry);
    }
    const Slot heir = entry.moved ? successorAt(entry.identifier) : kNoSlot;
    const bool leaving = heir != kNoSlot && successor != nullptr && table()[heir].inode == successor->inode;
    if (heir != kNoSlot && !leaving) {
      LocalEntry taking = entryOf(heir);
      takeOver(taking, entry);
      NodeFields fields = table().fields(heir);
      fields.versionTag = taking.fields.versionTag;
      table().setFields(heir, fields);
      putEntry(draft, std::move(taking));
      return putGone(draft, entry);
    }
  }
  entry.removed = true;
  around_.tree.hide(entry.inode);
  entry.moved = entry.content = entry.writing = entry.attributesHere = false;
  entry.attributes.clear();
  entry.metadata = 0;
  putEntry(draft, std::move(entry));
}

void LocalEditor::dropNode(Slot slot) {
  const TableNode& node = table()[slot];
  if (node.kind == NodeKind::folder) --around_.counters.folders;
  --around_.counters.items;
  if (node.kind == NodeKind::file) {
    if (const auto removed = around_.contents.remove(node.inode)) ::unlink(removed->path.c_str());
  }
  table().remove(slot);
}

int LocalEditor::remove(Slot slot) {
  if (slot == table().root()) return EBUSY;
  if (const int code = mayBeReplaced(slot, slot)) return code;
  Draft draft;
  leave(slot, draft, nullptr);
  if (const int code = commit(draft)) return code;
  touchFolder(table()[slot].parent);
  dropNode(slot);
  return 0;
}

int LocalEditor::rename(Slot slot, Slot folder, std::string_view name, bool mayReplace) {
  if (table()[folder].kind != NodeKind::folder) return ENOTDIR;
  around_.tree.loadChildren(folder);
  if (!table()[folder].listed) return EAGAIN;
  if (slot == table().root() || around_.tree.isBelowOrSelf(folder, slot)) return EINVAL;
  const Slot target = table().child(folder, name);
  if (target == slot) return 0;
  if (target != kNoSlot && !mayReplace) return EEXIST;
  if (target != kNoSlot) {
    if (const int code = mayBeReplaced(target, slot)) return code;
  }

  Draft draft;
  LocalEntry entry = entryOf(slot);
  if (entry.bound) {
    const std::string now = around_.tree.identifier(slot);
    entry.moved = !isPlaceOf(now, folder, name);
    entry.identifier = entry.moved ? now : std::string();
  }
  entry.parent = table()[folder].inode;
  entry.name = name;
  if (target != kNoSlot) leave(target, draft, &entry);
  if (isOnServer(folder)) takeOverPlace(entry, derivedIdentifier(folder, name), draft);
  const std::string own = entry.bound && entry.moved ? entry.identifier : std::string();
  const bool isBack = entry.bound && !entry.moved;  // the database may have it nowhere
  if (isBack) entry.settled = changes_.nextNumber();
  const NodeFields fields = entry.fields;
  putEntry(draft, std::move(entry));
  if (const int code = commit(draft)) return code;

  if (target != kNoSlot) dropNode(target);
  touchFolder(table()[slot].parent);
  table().unlink(slot);
  table().link(slot, folder, name);
  table().setOwnIdentifier(slot, own);
  table().setFields(slot, fields);
  noteLocal(slot);
  touchFolder(folder);
  if (isBack) putRow(slot, *changes_.find(table()[slot].inode));
  return 0;
}

}  // namespace zelto
