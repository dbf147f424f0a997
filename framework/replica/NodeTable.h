#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "framework/replica/NameArena.h"
#include "framework/replica/Node.h"
#include "framework/replica/SlotTable.h"

namespace zelto {

// One node in memory; 64 bytes. What few nodes have is in a side table.
struct TableNode {
  Inode inode = 0;
  std::uint64_t size = 0;
  std::int64_t modifiedNs = 0;
  std::uint64_t versionTag = 0;
  const char* nameBytes = "";
  Slot parent = kNoSlot;
  std::uint32_t folder = kNoSlot;  // the place of its index of children, once it has any
  std::uint16_t capabilities = 0;
  std::uint8_t flags = 0;
  std::uint8_t nameLength = 0;
  std::uint16_t here = 0;  // as in NodeFields
  std::uint32_t traits = 0;
  NodeKind kind = NodeKind::file;
  bool listed : 1 = false;  // the children are known
  bool loaded : 1 = false;  // the children that are known are in memory
  bool rare : 1 = false;    // has an entry in the side table
  bool linked : 1 = false;  // stands in its parent's index
  bool local : 1 = false;   // has a local change
  bool seen : 1 = false;    // met by the listing or change list at hand

  std::string_view name() const { return {nameBytes, nameLength}; }
};

// What programs set of a node and the server does not keep: the nine permission bits, and these.
inline constexpr std::uint16_t kPermissionBits = 0x1ff;
inline constexpr std::uint16_t kPermissionsHere = 0x200;
inline constexpr std::uint16_t kDatesHere = 0x400;  // for as long as the server has this version
inline constexpr std::uint16_t kLinkHere = 0x800;   // a symbolic link whose place an empty file keeps there
inline constexpr std::uint16_t kAttributesHere = 0x1000;  // extended attributes

// What a node carries besides its place in the tree.
struct NodeFields {
  NodeKind kind = NodeKind::file;
  std::uint16_t capabilities = 0;
  std::uint8_t flags = 0;
  std::uint64_t size = 0;
  std::int64_t modifiedNs = 0;
  std::int64_t createdNs = 0;
  std::int64_t accessedNs = 0;
  std::uint64_t versionTag = 0;
  std::uint64_t attributesDigest = 0;  // of the extended attributes; 0: there are none
  std::uint16_t here = 0;
  std::uint32_t traits = 0;  // as in ItemTraitsPool

  friend bool operator==(const NodeFields&, const NodeFields&) = default;
};

// The nodes that are in memory, by number and by parent and name. It knows nothing of the database.
// THREAD: one writer or many readers; the owner locks.
class NodeTable {
 public:
  NodeTable();

  TableNode& operator[](Slot slot) { return slabs_[slot >> kSlabBits][slot & (kSlab - 1)]; }
  const TableNode& operator[](Slot slot) const { return slabs_[slot >> kSlabBits][slot & (kSlab - 1)]; }

  Slot root() const { return 0; }
  Slot slotForInode(Inode inode) const;
  Slot child(Slot folder, std::string_view name) const;
  std::size_t childCount(Slot folder) const;
  template <typename Visit>
  void forEachChild(Slot folder, const Visit& visit) const {
    const std::uint32_t index = (*this)[folder].folder;
    if (index != kNoSlot) folders_[index].children.forEach(visit);
  }

  // A new node under its parent. REQUIRES: no child of that name, an unknown number, 1 to 255 bytes.
  Slot add(Inode inode, Slot parent, std::string_view name, const NodeFields& fields);
  void reserve(std::size_t newNodes);
  void reserveChildren(Slot folder, std::size_t count);
  // Takes a node out of its parent's index; it keeps name and parent until it is linked or removed.
  void unlink(Slot slot);
  // REQUIRES: not linked, no child of that name there.
  void link(Slot slot, Slot parent, std::string_view name);
  // REQUIRES: without children.
  void remove(Slot slot);

  NodeFields fields(Slot slot) const;
  void setFields(Slot slot, const NodeFields& fields);
  NodeInfo info(Slot slot) const;

  // Where it stands, or stood until it was unlinked.
  ReplicaDelta::Name place(Slot slot) const;

  // Counts replaced contents, from 0, while the process lives.
  std::uint32_t contentEpoch(Inode inode) const;
  void advanceContentEpoch(Inode inode) { ++contentEpochs_[inode]; }

  // An identifier of its own, where a node's is not made of its parent's and its name; "" for none.
  std::string_view ownIdentifier(Slot slot) const;
  void setOwnIdentifier(Slot slot, std::string_view identifier);
  Slot slotForOwnIdentifier(std::string_view identifier) const;
  bool anyOwnIdentifiers() const { return ownIdentifiers_.size() > 0; }

  // The children's numbers in ascending order, kept until a child comes or goes.
  std::shared_ptr<const std::vector<Inode>> keptChildren(Slot folder) const;
  std::shared_ptr<const std::vector<Inode>> children(Slot folder);

 private:
  static constexpr unsigned kSlabBits = 10;
  static constexpr std::size_t kSlab = std::size_t{1} << kSlabBits;

  struct Folder {
    SlotTable children;
    std::shared_ptr<const std::vector<Inode>> snapshot;
  };
  struct Rare {
    std::int64_t createdNs = 0;
    std::int64_t accessedNs = 0;
    std::uint64_t attributesDigest = 0;
    std::string identifier;
  };

  std::uint32_t hash(std::string_view bytes) const;
  static std::uint32_t hash(Inode inode);
  Slot takeSlot();
  Folder& folderOf(Slot slot);
  void place(Slot slot, Slot parent, std::string_view name);
  const Rare* rare(Slot slot) const;
  Rare& madeRare(Slot slot);
  void dropPlainRare(Slot slot);

  const std::uint64_t seed_;
  std::vector<std::unique_ptr<TableNode[]>> slabs_;
  Slot unusedSlot_ = 0;
  std::vector<Slot> freeSlots_;
  SlotTable byInode_;
  SlotTable ownIdentifiers_;
  std::deque<Folder> folders_;
  std::vector<std::uint32_t> freeFolders_;
  std::unordered_map<Slot, Rare> rare_;
  std::unordered_map<Inode, std::uint32_t> contentEpochs_;  // without those that are 0
  NameArena names_;
};

}  // namespace zelto
