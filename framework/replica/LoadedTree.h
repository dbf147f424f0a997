#pragma once

#include <string>
#include <string_view>
#include <unordered_set>

#include "framework/replica/NodeTable.h"
#include "framework/replica/ReplicaHealth.h"
#include "framework/replica/ReplicaReader.h"

namespace zelto {

// The nodes in memory, and the loading of those that are only in the database. Invariant: a node's parent
// is in memory whenever the node is, and whatever waits to be written below a folder concerns one whose
// children are loaded; so what is loaded is never older than what was learnt.
// THREAD: the owner locks, exclusively for everything that is not const.
class LoadedTree {
 public:
  LoadedTree(ReplicaReader& reader, ReplicaHealth& health) : reader_(reader), health_(health) {}

  NodeTable& table() { return table_; }
  const NodeTable& table() const { return table_; }

  // What a child's identifier begins with: its parent's identifier, "" for the root.
  std::string childPrefix(Slot folder) const;
  std::string identifier(Slot slot) const;
  bool isBelowOrSelf(Slot slot, Slot ancestor) const;

  // BLOCKS, all of them: on the database, for each folder on the way that is not loaded yet.
  void loadChildren(Slot folder);
  Slot loadNode(Inode inode);
  Slot loadIdentifier(std::string_view identifier);
  Slot loadPath(std::string_view path);
  // Only the look-up among the identifiers that are not made of a parent's.
  Slot loadOwnIdentifier(std::string_view identifier);
  // The node was removed here; the database has it, in a folder that may not be loaded yet, until the server
  // has removed it too.
  void hide(Inode inode) { hidden_.insert(inode); }
  // The database does not have it any more.
  void forgetHidden(Inode inode) { hidden_.erase(inode); }
  bool anyOwnIdentifiers() const { return table_.anyOwnIdentifiers() || reader_.anyOwnIdentifiers(); }

 private:
  Slot loadIdentifier(std::string_view identifier, unsigned depth);
  void take(Slot folder, const NodeRow& row);

  ReplicaReader& reader_;
  ReplicaHealth& health_;
  NodeTable table_;
  std::unordered_set<Inode> hidden_;
};

}  // namespace zelto
