#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "framework/replica/ContentStore.h"
#include "framework/replica/ItemBatch.h"
#include "framework/replica/LoadedTree.h"
#include "framework/replica/LocalEditor.h"
#include "framework/replica/ReplicaWriter.h"

namespace zelto {

// One call that learns: it changes the nodes in memory, notes what the database must know in one chunk,
// and what the volume must know in a delta.
// THREAD: the tree is locked exclusively for the learner's life, but for `finish`.
class Learner {
 public:
  // What was changed here, and what had settled when the server was asked.
  struct Here {
    LocalEditor& editor;
    std::optional<std::uint64_t> asked;  // Asked::settled
  };
  Learner(LoadedTree& tree, ItemBatch& batch, ReplicaWriter& numbers, ContentStore& contents,
          ReplicaCounters& counters, const Here& here);

  void listing(Slot folder);
  void changes(const std::vector<std::string>& deletedIdentifiers);
  void item(Slot slot);
  // Nothing is learnt of a folder: it is to be listed again.
  void listAgain(Slot folder) { delta_.toList.push_back(table_[folder].inode); }

  // Hands the chunk over; still under the lock, so that chunks are queued in the order of their changes.
  void queue(Journal& journal) { journal.push(std::move(chunk_)); }
  // The folders that were not known before. Still under the lock.
  const std::vector<Inode>& newFolders() const { return newFolders_; }
  // Of folders that the server lost, keeps what was changed in them. Still under the lock, after `queue`.
  ReplicaDelta loseFolders();
  // Removes files of contents that are gone, and reports what was left out. Without the lock.
  ReplicaDelta finish();

 private:
  // One record, the node that it is about, and where that is to stand.
  struct Match {
    const ItemRecord* record;
    Inode inode;   // 0: a new one
    Inode parent;  // 0: nowhere
    bool refused = false;
  };

  // ---- LearnerMatching.cpp: which node each record is about
  void matchListing(Slot folder);
  void matchUpdates();
  Slot known(const ItemRecord& record, Slot folder);
  Slot parentOf(const ItemRecord& record, Slot slot);
  void match(const ItemRecord& record, Slot slot, Slot parent);
  void removeUnseen(Slot folder);
  void removeDeleted(const std::vector<std::string>& deletedIdentifiers);
  void listTreeAgain(Slot slot);
  bool identifierIsMade(Slot parent, const ItemRecord& record);
  // ---- LearnerHere.cpp: what local changes keep the server from saying
  bool isHidden(const ItemRecord& record, Slot slot);
  bool staysAsItIs(Slot slot) const;
  bool isBelowMoving(Slot slot) const;
  bool keptHere(Slot slot);
  bool isLinkHere(const ItemRecord& record, Slot slot);
  NodeFields withWhatIsHere(const NodeFields& before, NodeFields after) const;

  // ---- Learner.cpp: what becomes of it
  void apply();
  void apply(Match& match);
  bool applyWaiting(std::vector<Match*>& waiting);
  void unlinkMoved();
  bool leavesPlace(const Match& match);
  bool stands(Slot slot, Slot parent, std::string_view name) const;
  bool makeRoom(Slot parent, const ItemRecord& record);
  bool isTaken(const ItemRecord& record, Slot parent);
  void addNew(Match& match, Slot parent);
  void move(Slot slot, Slot parent, const ItemRecord& record);
  void update(Slot slot, const ItemRecord& record, bool moved);
  void noteChange(Inode inode, NodeFields before, const NodeFields& after);
  bool setIdentifier(Slot slot, const ItemRecord& record);
  void note(Slot slot, const ItemRecord& record, const NodeFields& fields);
  void unlink(Slot slot);
  void remove(Slot slot);
  void forgetContent(Inode inode);

  LoadedTree& tree_;
  NodeTable& table_;
  ItemBatch& batch_;
  ReplicaWriter& numbers_;
  ContentStore& contents_;
  ReplicaCounters& counters_;
  const Here here_;
  std::vector<Match> matches_;
  std::vector<Inode> lost_;      // folders gone from the server in which something was changed here
  std::vector<Inode> skipped_;   // met, and left as they are
  std::vector<Inode> replaced_;  // known ones that have become of another kind
  Inode prefixOf_ = 0;           // the folder whose children's prefix is kept
  std::string prefix_;
  const std::string* lastParentIdentifier_ = nullptr;
  Inode lastParent_ = 0;
  JournalChunk chunk_;
  std::vector<Inode> newFolders_;
  ReplicaDelta delta_;
  std::vector<ContentStore::Removed> gone_;
};

}  // namespace zelto
