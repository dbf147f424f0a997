#include "framework/replica/NodeTable.h"

#include <algorithm>
#include <random>

#include "framework/replica/Digest.h"

namespace zelto {
namespace {

// Names come from a server: without a seed it could choose names that all meet in one place.
std::uint64_t randomSeed() {
  std::random_device device;
  return (static_cast<std::uint64_t>(device()) << 32) | device();
}

}  // namespace

NodeTable::NodeTable() : seed_(randomSeed()) {
  const Slot slot = takeSlot();
  TableNode& node = (*this)[slot];
  node.inode = kRootInode;
  node.kind = NodeKind::folder;
  node.linked = true;
  node.capabilities = static_cast<std::uint16_t>(NSFileProviderItemCapabilities::allowsReading);
  node.flags = static_cast<std::uint8_t>(NSFileProviderFileSystemFlags::userReadable |
                                         NSFileProviderFileSystemFlags::userExecutable);
  byInode_.insert(hash(kRootInode), slot);
}

std::uint32_t NodeTable::hash(std::string_view bytes) const {
  return static_cast<std::uint32_t>(digestOfBytes(bytes, seed_) >> 32);
}

std::uint32_t NodeTable::hash(Inode inode) {
  return static_cast<std::uint32_t>((inode * 0x9e3779b97f4a7c15) >> 32);
}

Slot NodeTable::takeSlot() {
  if (!freeSlots_.empty()) {
    const Slot slot = freeSlots_.back();
    freeSlots_.pop_back();
    return slot;
  }
  if (unusedSlot_ == slabs_.size() * kSlab) slabs_.push_back(std::make_unique<TableNode[]>(kSlab));
  return unusedSlot_++;
}

Slot NodeTable::slotForInode(Inode inode) const {
  return byInode_.find(hash(inode), [this, inode](Slot slot) { return (*this)[slot].inode == inode; });
}

Slot NodeTable::child(Slot folder, std::string_view name) const {
  const std::uint32_t index = (*this)[folder].folder;
  if (index == kNoSlot) return kNoSlot;
  return folders_[index].children.find(hash(name),
                                       [this, name](Slot slot) { return (*this)[slot].name() == name; });
}

std::size_t NodeTable::childCount(Slot folder) const {
  const std::uint32_t index = (*this)[folder].folder;
  return index == kNoSlot ? 0 : folders_[index].children.size();
}

NodeTable::Folder& NodeTable::folderOf(Slot slot) {
  std::uint32_t& index = (*this)[slot].folder;
  if (index != kNoSlot) return folders_[index];
  if (freeFolders_.empty()) {
    index = static_cast<std::uint32_t>(folders_.size());
    folders_.emplace_back();
  } else {
    index = freeFolders_.back();
    freeFolders_.pop_back();
  }
  return folders_[index];
}

void NodeTable::reserve(std::size_t newNodes) { byInode_.reserve(byInode_.size() + newNodes); }

void NodeTable::reserveChildren(Slot folder, std::size_t count) {
  if (count > 0) folderOf(folder).children.reserve(count);
}

void NodeTable::place(Slot slot, Slot parent, std::string_view name) {
  TableNode& node = (*this)[slot];
  node.nameBytes = names_.store(name);
  node.nameLength = static_cast<std::uint8_t>(name.size());
  node.parent = parent;
  node.linked = true;
  Folder& folder = folderOf(parent);
  folder.children.insert(hash(name), slot);
  folder.snapshot.reset();
}

Slot NodeTable::add(Inode inode, Slot parent, std::string_view name, const NodeFields& fields) {
  const Slot slot = takeSlot();
  (*this)[slot] = TableNode{};
  (*this)[slot].inode = inode;
  byInode_.insert(hash(inode), slot);
  setFields(slot, fields);
  place(slot, parent, name);
  return slot;
}

void NodeTable::unlink(Slot slot) {
  TableNode& node = (*this)[slot];
  Folder& folder = folderOf(node.parent);
  folder.children.erase(hash(node.name()), slot);
  folder.snapshot.reset();
  node.linked = false;
}

void NodeTable::link(Slot slot, Slot parent, std::string_view name) {
  const std::string_view before = (*this)[slot].name();
  place(slot, parent, name);
  names_.release(before);
}

void NodeTable::remove(Slot slot) {
  TableNode& node = (*this)[slot];
  if (node.linked) unlink(slot);
  setOwnIdentifier(slot, {});
  rare_.erase(slot);
  byInode_.erase(hash(node.inode), slot);
  names_.release(node.name());
  if (node.folder != kNoSlot) {
    folders_[node.folder] = Folder{};
    freeFolders_.push_back(node.folder);
  }
  node = TableNode{};
  freeSlots_.push_back(slot);
}

const NodeTable::Rare* NodeTable::rare(Slot slot) const {
  return (*this)[slot].rare ? &rare_.find(slot)->second : nullptr;
}

NodeTable::Rare& NodeTable::madeRare(Slot slot) {
  TableNode& node = (*this)[slot];
  if (node.rare) return rare_[slot];
  node.rare = true;
  return rare_[slot] = Rare{node.modifiedNs, node.modifiedNs, 0, {}};
}

void NodeTable::dropPlainRare(Slot slot) {
  TableNode& node = (*this)[slot];
  const Rare* kept = rare(slot);
  if (kept == nullptr || !kept->identifier.empty() || kept->attributesDigest != 0) return;
  if (kept->createdNs != node.modifiedNs || kept->accessedNs != node.modifiedNs) return;
  rare_.erase(slot);
  node.rare = false;
}

NodeFields NodeTable::fields(Slot slot) const {
  const TableNode& node = (*this)[slot];
  const Rare* kept = rare(slot);
  return {node.kind,
          node.capabilities,
          node.flags,
          node.size,
          node.modifiedNs,
          kept ? kept->createdNs : node.modifiedNs,
          kept ? kept->accessedNs : node.modifiedNs,
          node.versionTag,
          kept ? kept->attributesDigest : 0,
          node.here,
          node.traits};
}

void NodeTable::setFields(Slot slot, const NodeFields& fields) {
  TableNode& node = (*this)[slot];
  node.kind = fields.kind;
  node.capabilities = fields.capabilities;
  node.flags = fields.flags;
  node.size = fields.size;
  node.modifiedNs = fields.modifiedNs;
  node.versionTag = fields.versionTag;
  node.here = fields.here;
  node.traits = fields.traits;
  const bool plain = fields.createdNs == fields.modifiedNs && fields.accessedNs == fields.modifiedNs &&
                     fields.attributesDigest == 0;
  if (plain && !node.rare) return;
  Rare& kept = madeRare(slot);
  kept.createdNs = fields.createdNs;
  kept.accessedNs = fields.accessedNs;
  kept.attributesDigest = fields.attributesDigest;
  dropPlainRare(slot);
}

NodeInfo NodeTable::info(Slot slot) const {
  const TableNode& node = (*this)[slot];
  const Rare* kept = rare(slot);
  NodeInfo info;
  info.inode = node.inode;
  info.parent = node.parent == kNoSlot ? node.inode : (*this)[node.parent].inode;
  info.kind = node.kind;
  info.listed = node.listed;
  info.capabilities = NSFileProviderItemCapabilities{node.capabilities};
  info.flags = NSFileProviderFileSystemFlags{node.flags};
  info.size = node.size;
  info.modifiedNs = node.modifiedNs;
  info.createdNs = kept ? kept->createdNs : node.modifiedNs;
  info.accessedNs = kept ? kept->accessedNs : node.modifiedNs;
  info.versionTag = node.versionTag;
  info.contentEpoch = contentEpoch(node.inode);
  info.local = node.local;
  info.traits = node.traits;
  if ((node.here & kPermissionsHere) != 0) info.permissions = node.here & kPermissionBits;
  return info;
}

ReplicaDelta::Name NodeTable::place(Slot slot) const {
  const TableNode& node = (*this)[slot];
  return {(*this)[node.parent].inode, node.inode, std::string(node.name()), contentEpoch(node.inode),
          node.kind};
}

std::uint32_t NodeTable::contentEpoch(Inode inode) const {
  if (contentEpochs_.empty()) return 0;
  const auto it = contentEpochs_.find(inode);
  return it == contentEpochs_.end() ? 0 : it->second;
}

std::string_view NodeTable::ownIdentifier(Slot slot) const {
  const Rare* kept = rare(slot);
  return kept ? std::string_view(kept->identifier) : std::string_view();
}

void NodeTable::setOwnIdentifier(Slot slot, std::string_view identifier) {
  const std::string_view before = ownIdentifier(slot);
  if (before == identifier) return;
  if (!before.empty()) ownIdentifiers_.erase(hash(before), slot);
  madeRare(slot).identifier = identifier;
  if (!identifier.empty()) ownIdentifiers_.insert(hash(identifier), slot);
  dropPlainRare(slot);
}

Slot NodeTable::slotForOwnIdentifier(std::string_view identifier) const {
  return ownIdentifiers_.find(hash(identifier),
                              [this, identifier](Slot slot) { return ownIdentifier(slot) == identifier; });
}

std::shared_ptr<const std::vector<Inode>> NodeTable::keptChildren(Slot folder) const {
  static const auto none = std::make_shared<const std::vector<Inode>>();
  const std::uint32_t index = (*this)[folder].folder;
  return index == kNoSlot ? none : folders_[index].snapshot;
}

std::shared_ptr<const std::vector<Inode>> NodeTable::children(Slot folder) {
  if (auto kept = keptChildren(folder)) return kept;
  std::vector<Inode> numbers;
  numbers.reserve(childCount(folder));
  forEachChild(folder, [&](Slot slot) { numbers.push_back((*this)[slot].inode); });
  std::sort(numbers.begin(), numbers.end());
  Folder& known = folderOf(folder);
  known.snapshot = std::make_shared<const std::vector<Inode>>(std::move(numbers));
  return known.snapshot;
}

}  // namespace zelto
