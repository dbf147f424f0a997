#pragma once

#include <functional>
#include <memory>
#include <shared_mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "framework/replica/Learner.h"
#include "framework/replica/LocalEditor.h"
#include "framework/replica/Replica.h"
#include "framework/replica/ReplicaDatabase.h"

namespace zelto {

// The replica in a directory of this machine.
class LocalReplica final : public Replica {
 public:
  struct Parts {
    ReplicaFiles files;
    UniqueDescriptor lock;
    OpenedDatabase opened;
    Database reading;
    std::size_t queuedRows;
  };
  explicit LocalReplica(Parts parts);
  // Brings back the local changes of an earlier process. ERRORS: the disk's.
  std::optional<NSError> recover();
  ~LocalReplica() override = default;

  std::optional<NodeInfo> node(Inode inode) override;
  LookupResult lookup(Inode parent, std::string_view name) override;
  std::shared_ptr<const std::vector<Inode>> children(Inode folder) override;
  void visit(Inode folder, const std::vector<Inode>& snapshot, std::size_t first,
             const std::function<bool(std::size_t, const NodeInfo&, std::string_view)>& visit) override;
  std::string identifier(Inode inode) override;
  std::string name(Inode inode) override;
  std::optional<Inode> inodeForIdentifier(std::string_view identifier) override;
  std::optional<Inode> inodeForRelativePath(std::string_view path) override;
  std::string symlinkTarget(Inode inode) override;
  std::vector<std::pair<std::string, std::string>> extendedAttributes(Inode inode) override;
  std::optional<NSFileProviderItemVersion> version(Inode inode) override;
  std::shared_ptr<const ItemTraits> traits(std::uint32_t number) override { return traits_.find(number); }
  Counts counts() override;

  ReplicaDelta applyListing(Inode folder, const std::vector<NSFileProviderItemPtr>& items,
                            const std::optional<Asked>& asked) override;
  ReplicaDelta applyChanges(const std::vector<NSFileProviderItemPtr>& updates,
                            const std::vector<std::string>& deletedIdentifiers,
                            const std::optional<Asked>& asked) override;
  ReplicaDelta applyItem(Inode inode, const NSFileProviderItemPtr& item,
                         const std::optional<Asked>& asked) override;
  bool isPlace(Inode inode, std::string_view identifier) override;
  void whenPlaceIsKnown(Inode inode, std::move_only_function<void()> then) override;

  std::expected<std::shared_ptr<ContentFile>, NSError> content(Inode inode) override;
  std::vector<NSRange> materialisedRanges(Inode inode) override;
  std::uint64_t evict(Inode inode) override;
  void flush() override { journal_->flush(); }

  // ---- LocalReplicaEditing.cpp
  std::expected<Created, int> create(Inode folder, std::string_view name, const NewNode& what) override;
  int rename(Inode inode, Inode folder, std::string_view name, bool mayReplace) override;
  int remove(Inode inode) override;
  int setAttributes(Inode inode, const LocalAttributes& attributes) override;
  int setExtendedAttribute(Inode inode, const std::string& name,
                           const std::optional<std::string>& value) override;
  std::expected<std::shared_ptr<ContentFile>, int> beginWriting(Inode inode, bool truncate) override;
  void written(Inode inode, const ContentFile& content) override;
  void endWriting(Inode inode, const ContentFile& content) override;
  int syncLocalChanges() override;

  // ---- LocalReplicaSending.cpp
  void setLocalChangeHandler(std::function<void(Inode)> handler) override;
  std::vector<Inode> localChanges() override;
  std::optional<LocalChangeInfo> localChange(Inode inode) override;
  std::expected<LocalStep, LocalWait> beginStep(Inode inode, bool evenIfOpen) override;
  std::optional<NSError> exportContent(LocalStep& step, const std::string& path) override;
  ReplicaDelta settle(const LocalStep& step, const NSFileProviderItemPtr& item) override;
  void stepFailed(const LocalStep& step, bool refused) override;
  std::expected<ReplicaDelta, int> keepBoth(Inode inode, std::string_view newName) override;
  ReplicaDelta serverLost(Inode inode) override;
  std::expected<ReplicaDelta, int> abandon(Inode inode) override;
  std::uint64_t settledSoFar() override;
  void close() override { writer_.finish(); }

 private:
  Slot loadedNode(Inode inode) { return tree_.loadNode(inode); }
  LookupResult found(Slot folder, std::string_view name) const;
  ReplicaDelta learn(const std::vector<NSFileProviderItemPtr>& items, std::size_t rows,
                     const std::optional<Asked>& asked, const std::function<void(Learner&)>& what);
  // BLOCKS: until the database knows all folders above a node (and itself, of a folder). The log of local
  // changes says in which folder something stands; of one that is not there any more nothing could be shown.
  void keepFoldersAbove(Inode inode);
  // Runs an edit of one node under the lock, and tells of the change once it is made.
  int edit(Inode inode, const std::function<int(Slot)>& what);
  void tell(Inode inode);
  void databaseWritten();
  bool isAt(Slot slot, std::string_view identifier) const;
  // Those who waited for what has been found out look again.
  void tellPlaces();
  std::shared_ptr<ContentFile> contentUnopened(Inode inode);
  std::vector<Inode> filesBelow(Slot top);

  UniqueDescriptor lock_;
  const std::shared_ptr<Journal> journal_;
  ReplicaHealth health_;
  ReplicaCounters counters_;
  VersionTemplates templates_;
  ItemTraitsPool traits_;
  ReplicaReader reader_;
  const std::shared_ptr<ContentStore> contents_;
  std::shared_mutex mutex_;  // guards tree_, editor_ and newFolders_
  LoadedTree tree_;
  LocalEditor editor_;
  std::unordered_map<Inode, std::uint64_t> newFolders_;  // by the chunk that brings them to the database
  std::mutex placesMutex_;                               // guards placeWaiters_; a leaf, taken inside mutex_
  std::vector<std::pair<Inode, std::move_only_function<void()>>> placeWaiters_;
  std::function<void(Inode)> changeHandler_;  // set before the first change
  ReplicaWriter writer_;                      // last: its thread uses what is above
};

}  // namespace zelto
