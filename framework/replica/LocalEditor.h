#pragma once

#include <cstdint>
#include <expected>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "framework/replica/ContentStore.h"
#include "framework/replica/LoadedTree.h"
#include "framework/replica/LocalChange.h"
#include "framework/replica/LocalChanges.h"
#include "framework/replica/VersionTemplates.h"
#include "platform/fileprovider/NSFileProviderItem.h"

namespace zelto {

// What programs change in the tree, and how the server comes to have it. A node that the server has and that
// stands elsewhere here goes on under its own identifier, the server's; so what lies below keeps the right
// ones too. A file that takes the place of another, as programs do when they save, takes over what the
// server knows of that one: the server then sees a file that changes, not one that goes and one that comes.
// THREAD: the tree is locked exclusively for every call.
class LocalEditor {
 public:
  struct Surroundings {
    LoadedTree& tree;
    ContentStore& contents;
    ReplicaReader& reader;
    Journal& journal;
    VersionTemplates& templates;
    ReplicaCounters& counters;
  };
  LocalEditor(const Surroundings& around, std::string logPath)
      : around_(around), changes_(std::move(logPath)) {}

  LocalChanges& changes() { return changes_; }
  const LocalChanges& changes() const { return changes_; }

  // ---- LocalEditorRecovery.cpp
  // Makes the tree again what it was here. ERRORS: errno values, 0 for none.
  int recover();

  // ---- LocalEditorPlaces.cpp; as Replica's, by slots
  std::expected<Slot, int> create(Slot folder, std::string_view name, const NewNode& what, Inode inode);
  int rename(Slot slot, Slot folder, std::string_view name, bool mayReplace);
  int remove(Slot slot);

  // ---- LocalEditorContent.cpp
  int setAttributes(Slot slot, const LocalAttributes& attributes);
  int setExtendedAttribute(Slot slot, const std::string& name, const std::optional<std::string>& value);
  int beginWriting(Slot slot, const std::shared_ptr<ContentFile>& file, bool truncate);
  // True for the first since the server took the content.
  bool written(Slot slot, const ContentFile& content);
  // True when nobody writes to it any more.
  bool endWriting(Slot slot, const ContentFile& content);
  // A content that was taken by the server comes to the others, and the log forgets what is settled.
  void finishLate(Inode inode);

  // ---- LocalEditorSteps.cpp
  std::expected<LocalStep, LocalWait> beginStep(Inode inode, bool evenIfOpen);
  void stepFailed(const LocalStep& step, bool refused);
  void noteAttempt(const LocalStep& step);
  LocalChangeInfo describe(const LocalEntry& entry) const;

  // ---- LocalEditorSettling.cpp
  ReplicaDelta settle(const LocalStep& step, const NSFileProviderItemPtr& item);

  // ---- LocalEditorConflicts.cpp
  std::expected<ReplicaDelta, int> keepBoth(Slot slot, std::string_view newName);
  ReplicaDelta serverLost(Inode inode);
  std::expected<ReplicaDelta, int> abandon(Inode inode);
  // True for a folder with local changes below it.
  bool anyLocalBelow(Slot slot) const;

  // What was set here; null for an item's own.
  const std::string* attributesHere(Inode inode) const;
  // Of a node that the database does not have.
  const std::string* symlinkTarget(Inode inode) const;

 private:
  // A change of several nodes, before it is noted.
  struct Draft {
    LocalChanges::Edit edit;
    std::vector<std::pair<Inode, NodeKind>> rowsGone;  // nodes that the database is to forget
    Slot unbound = kNoSlot;                            // the server's item of this node became another's
  };

  NodeTable& table() { return around_.tree.table(); }
  const NodeTable& table() const { return around_.tree.table(); }
  LocalEntry entryOf(Slot slot);
  std::string storedSymlinkTarget(Inode inode) const;
  std::string derivedIdentifier(Slot folder, std::string_view name) const;
  int commit(Draft& draft);
  void putEntry(Draft& draft, LocalEntry entry) { draft.edit.put.push_back(std::move(entry)); }
  void noteLocal(Slot slot);
  void touchFolder(Slot folder);
  void pushRemoval(Inode inode, NodeKind kind);
  std::string versionOf(const LocalEntry& entry) const;

  int mayBeReplaced(Slot target, Slot by);
  void leave(Slot slot, Draft& draft, LocalEntry* successor);
  bool mayTakeOver(const LocalEntry& entry) const;
  bool mayBeTakenOver(const LocalEntry& entry) const;
  void takeOver(LocalEntry& entry, const LocalEntry& from, Draft& draft);
  void takeOverPlace(LocalEntry& entry, const std::string& identifier, Draft& draft);
  bool takeOverFromBackup(LocalEntry& entry, const std::string& identifier, Draft& draft);
  Slot successorAt(const std::string& identifier);
  void dropNode(Slot slot);

  std::expected<LocalStep, LocalWait> stepFor(LocalEntry& entry, bool evenIfOpen);
  std::expected<LocalStep, LocalWait> removalStep(const LocalEntry& entry);
  std::expected<LocalStep, LocalWait> placeStep(const LocalEntry& entry, Slot slot, LocalStep step);
  std::expected<LocalStep, LocalWait> repeatedStep(const LocalEntry& entry, Slot slot);
  static LocalEntry presumed(LocalEntry entry);
  bool isPlaceUncertain(const LocalEntry& entry, Slot slot) const;
  LocalStep blankStep(const LocalEntry& entry, LocalStep::Kind kind) const;
  Inode movingAbove(Slot slot) const;
  bool concernsBelow(const LocalEntry& entry, std::string_view folder) const;
  Inode movingOnServerAbove(const LocalEntry& entry) const;
  Inode busyBelow(const std::string& identifier, Slot slot) const;
  Inode occupantOf(const LocalEntry& entry, Slot slot) const;
  bool isCircle(Inode start, Inode occupant) const;

  void bindTo(Slot slot, LocalEntry& next, const std::string& identifier);
  void takeItem(Slot slot, LocalEntry& next, const NSFileProviderItemPtr& item, bool content);
  void settleContent(LocalEntry& next, const LocalStep& step) const;
  ReplicaDelta settleRemoval(const LocalEntry& entry, const std::string& identifier);
  ReplicaDelta settleBound(const LocalStep& step, const NSFileProviderItemPtr& item, LocalEntry next,
                           Slot slot);
  void followMove(const std::string& from, const std::string& to, Draft& draft);
  void store(Slot slot, const LocalEntry& next);
  void putRow(Slot slot, const LocalEntry& next);

  void unbind(Slot slot, Draft& draft);
  void loseBelow(Slot slot, Draft& draft, ReplicaDelta& delta);
  void dropSubtree(Slot slot, ReplicaDelta& delta);
  void dropFromMemory(Slot slot);

  bool isInPlace(const LocalEntry& entry, Slot slot) const;
  bool isOfUse(LocalEntry& entry);
  void setAside(const LocalEntry& entry);
  void dropPredecessor(const LocalEntry& entry);
  bool restore(LocalEntry& entry);

  const Surroundings around_;
  LocalChanges changes_;
  std::set<Inode> inFlight_;        // steps that are being taken
  std::set<Inode> uncertainMoves_;  // folders that the server may have moved, which is still to be found out
};

// Now, as nodes keep it.
std::int64_t nowNs();

}  // namespace zelto
