#pragma once

#include <cstdint>
#include <expected>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "framework/replica/ContentStore.h"
#include "framework/replica/ItemTraits.h"
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
    ItemTraitsPool& traits;
    ReplicaCounters& counters;
  };
  // `settledInDatabase`: the highest of the numbers that the database has been told
  // (JournalChunk::putSettled).
  LocalEditor(const Surroundings& around, std::string logPath, std::uint64_t settledInDatabase)
      : around_(around), changes_(std::move(logPath)), settledInDatabase_(settledInDatabase) {}

  LocalChanges& changes() { return changes_; }
  const LocalChanges& changes() const { return changes_; }

  // ---- LocalEditorRecovery.cpp
  // Makes the tree again what it was here. Whatever changes a row of the database by what was done here is
  // noted in the log first, under a number that goes to the database with the row. So an entry of a number
  // that the database does not have is newer than the database, and its row is written again; any other is
  // at most as new as the row, which may have been changed by what the server said since.
  // ERRORS: errno values, 0 for none.
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
  // False while the server does not have the node, or may have moved it or a folder above it without our
  // having been told.
  bool isPlaceKnown(Slot slot) const;

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
  // What the database has of a node, or is about to. BLOCKS: on the database. THREAD: any, without the lock.
  std::string storedText(Inode inode, ReplicaReader::Text which) const;

 private:
  // A change of several nodes, before it is noted.
  struct Draft {
    LocalChanges::Edit edit;
    std::vector<Inode> rowsGone;  // of `edit.put`: nodes that the database is to forget
    Slot unbound = kNoSlot;       // the server's item of this node became another's
  };
  // What comes next for an entry: a step, or what it waits for without another being in its way.
  enum class Next : std::uint8_t { nothing, closing, stayHere, repeat, remove, metadata, upload, place };
  // Another change that comes first.
  struct Obstacle {
    Inode another;
    bool forPlace;  // the server still has it where this one is to stand
  };
  struct Waiting {
    const LocalEntry* entry;
    Obstacle obstacle;
  };

  NodeTable& table() { return around_.tree.table(); }
  const NodeTable& table() const { return around_.tree.table(); }
  LocalEntry entryOf(Slot slot);
  void takeAttributes(LocalEntry& entry) const;
  std::string derivedIdentifier(Slot folder, std::string_view name) const;
  int commit(Draft& draft);
  void putEntry(Draft& draft, LocalEntry entry) { draft.edit.put.push_back(std::move(entry)); }
  bool isPlaceOf(std::string_view identifier, Slot folder, std::string_view name) const;
  bool isOnServer(Slot folder) const;
  void noteLocal(Slot slot);
  void touchFolder(Slot folder);
  void forgetRow(Draft& draft, LocalEntry& entry);
  void putGone(Draft& draft, const LocalEntry& entry);
  void pushRemoval(const LocalEntry& entry);
  std::string versionOf(const LocalEntry& entry) const;

  int mayBeReplaced(Slot target, Slot by);
  void leave(Slot slot, Draft& draft, LocalEntry* successor);
  bool mayTakeOver(const LocalEntry& entry) const;
  bool mayBeTakenOver(const LocalEntry& entry) const;
  void takeOver(LocalEntry& entry, const LocalEntry& from);
  void takeOverPlace(LocalEntry& entry, const std::string& identifier, Draft& draft);
  bool takeOverFromBackup(LocalEntry& entry, const std::string& identifier, Draft& draft);
  Slot successorAt(const std::string& identifier);
  void dropNode(Slot slot);

  void noteArrival(Inode inode);
  std::expected<LocalStep, LocalWait> stepFor(const LocalEntry& entry, bool evenIfOpen) const;
  Next nextFor(const LocalEntry& entry, bool evenIfOpen) const;
  LocalStep repeatedStep(const LocalEntry& entry) const;
  static LocalEntry presumed(LocalEntry entry);
  bool isPlaceUncertain(const LocalEntry& entry, Slot slot) const;
  LocalStep blankStep(const LocalEntry& entry, LocalStep::Kind kind) const;

  // ---- LocalEditorOrder.cpp
  std::optional<Obstacle> obstacleFor(const LocalEntry& entry, Next next) const;
  std::vector<Waiting> circleOf(const LocalEntry& start, const Obstacle& obstacle) const;
  std::optional<LocalStep> evadingStep(const LocalEntry& entry, const Obstacle& obstacle) const;
  bool goesFirst(const LocalEntry& entry, const Obstacle& obstacle) const;
  Inode leavingFromBelow(const std::string& identifier, Slot slot) const;
  Inode movingAbove(Slot slot) const;
  bool concernsBelow(const LocalEntry& entry, std::string_view folder) const;
  std::string placeOnServer(const LocalEntry& entry) const;
  Inode moving(const std::function<bool(Inode, const std::string& place)>& concerns) const;
  Inode movingOnServerAbove(const LocalEntry& entry) const;
  Inode busyBelow(const LocalEntry& folder) const;
  Inode occupantOf(const LocalEntry& entry, Slot slot) const;

  void bindTo(Slot slot, LocalEntry& next, const std::string& identifier);
  void takeItem(Slot slot, LocalEntry& next, const NSFileProviderItemPtr& item, bool content);
  void settleContent(LocalEntry& next, const LocalStep& step) const;
  ReplicaDelta settleRemoval(const LocalEntry& entry, const std::string& identifier);
  ReplicaDelta settleBound(const LocalStep& step, const NSFileProviderItemPtr& item, LocalEntry next,
                           Slot slot);
  void followMove(const std::string& from, const std::string& to, Draft& draft);
  void putRow(Slot slot, const LocalEntry& next);

  void unbind(Slot slot, Draft& draft);
  void loseBelow(Slot slot, Draft& draft, ReplicaDelta& delta);
  void dropSubtree(Slot slot, ReplicaDelta& delta);
  void dropFromMemory(Slot slot);

  bool isOfUse(LocalEntry& entry);
  static bool isRowWrong(const LocalEntry& entry);
  void setAside(const LocalEntry& entry);
  NodeFields restoredFields(const LocalEntry& entry, Slot slot) const;
  void leavePlace(Slot slot);
  void clearPlace(Slot occupant, const std::unordered_set<Inode>& noted);
  bool restore(LocalEntry& entry, const std::unordered_set<Inode>& noted);
  void addRestored(const LocalEntry& entry, Slot folder);
  bool isNewerThanDatabase(const LocalEntry& entry) const { return entry.settled > settledInDatabase_; }
  void tellDatabaseAgain();

  const Surroundings around_;
  LocalChanges changes_;
  const std::uint64_t settledInDatabase_;  // at the start
  std::set<Inode> inFlight_;               // steps that are being taken
  std::set<Inode> uncertainMoves_;  // folders that the server may have moved, which is still to be found out
};

// Now, as nodes keep it.
std::int64_t nowNs();

}  // namespace zelto
