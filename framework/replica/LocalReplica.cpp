#include "framework/replica/LocalReplica.h"

#include <mutex>

#include <unistd.h>

namespace zelto {

std::expected<std::unique_ptr<Replica>, NSError> Replica::open(const std::string& directory,
                                                               const ReplicaOptions& options) {
  ReplicaFiles files{directory};
  if (auto failure = files.make()) return std::unexpected(std::move(*failure));
  auto lock = files.lockForThisProcess();
  if (!lock) return std::unexpected(std::move(lock.error()));
  auto opened = openReplicaDatabase(files, options.bootId.value_or(currentBootId()));
  if (!opened) return std::unexpected(std::move(opened.error()));
  auto reading = openForReading(files);
  if (!reading) return std::unexpected(std::move(reading.error()));
  auto replica = std::make_unique<LocalReplica>(LocalReplica::Parts{
      std::move(files), std::move(*lock), std::move(*opened), std::move(*reading), options.queuedRows});
  if (auto failure = replica->recover()) return std::unexpected(std::move(*failure));
  return replica;
}

LocalReplica::LocalReplica(Parts parts)
    : lock_(std::move(parts.lock)),
      journal_(std::make_shared<Journal>(parts.queuedRows)),
      health_(parts.files, journal_),
      templates_(parts.opened.session.versionTemplate),
      traits_(parts.opened.session.traits),
      reader_(std::move(parts.reading), parts.opened.session.anyOwnIdentifiers),
      contents_(std::make_shared<ContentStore>(parts.files.content(), parts.files.local(),
                                               parts.opened.session.number, journal_)),
      tree_(reader_, health_),
      editor_({tree_, *contents_, reader_, *journal_, templates_, traits_, counters_}, parts.files.localLog(),
              parts.opened.session.settled),
      writer_(std::move(parts.opened.database),
              ReplicaWriter::Surroundings{*journal_, *contents_, reader_, templates_, traits_, health_,
                                          counters_, [this] { databaseWritten(); }},
              parts.opened.session.nextInode) {
  counters_.items += static_cast<std::int64_t>(parts.opened.session.items);
  counters_.folders += static_cast<std::int64_t>(parts.opened.session.folders);
  tree_.table()[tree_.table().root()].listed = parts.opened.session.rootListed;
}

std::optional<NodeInfo> LocalReplica::node(Inode inode) {
  {
    const std::shared_lock lock(mutex_);
    const Slot slot = tree_.table().slotForInode(inode);
    if (slot != kNoSlot) return tree_.table().info(slot);
  }
  const std::unique_lock lock(mutex_);
  const Slot slot = loadedNode(inode);
  if (slot == kNoSlot) return {};
  return tree_.table().info(slot);
}

Replica::LookupResult LocalReplica::found(Slot folder, std::string_view name) const {
  const NodeTable& table = tree_.table();
  const Slot child = table.child(folder, name);
  if (child != kNoSlot) return {Presence::found, table.info(child)};
  const bool isFolder = table[folder].kind == NodeKind::folder;
  return {isFolder && !table[folder].listed ? Presence::unknown : Presence::absent, {}};
}

Replica::LookupResult LocalReplica::lookup(Inode parent, std::string_view name) {
  {
    const std::shared_lock lock(mutex_);
    const Slot folder = tree_.table().slotForInode(parent);
    if (folder != kNoSlot && tree_.table()[folder].loaded) return found(folder, name);
  }
  const std::unique_lock lock(mutex_);
  const Slot folder = loadedNode(parent);
  if (folder == kNoSlot) return {Presence::absent, {}};
  tree_.loadChildren(folder);
  return found(folder, name);
}

std::shared_ptr<const std::vector<Inode>> LocalReplica::children(Inode folder) {
  {
    const std::shared_lock lock(mutex_);
    const NodeTable& table = tree_.table();
    const Slot slot = table.slotForInode(folder);
    if (slot != kNoSlot && table[slot].loaded) {
      if (!table[slot].listed) return nullptr;
      if (auto kept = table.keptChildren(slot)) return kept;
    }
  }
  const std::unique_lock lock(mutex_);
  const Slot slot = loadedNode(folder);
  if (slot == kNoSlot) return nullptr;
  tree_.loadChildren(slot);
  return tree_.table()[slot].listed ? tree_.table().children(slot) : nullptr;
}

void LocalReplica::visit(Inode folder, const std::vector<Inode>& snapshot, std::size_t first,
                         const std::function<bool(std::size_t, const NodeInfo&, std::string_view)>& visit) {
  const std::shared_lock lock(mutex_);
  const NodeTable& table = tree_.table();
  const Slot parent = table.slotForInode(folder);
  if (parent == kNoSlot) return;
  for (std::size_t index = first; index < snapshot.size(); ++index) {
    const Slot slot = table.slotForInode(snapshot[index]);
    if (slot == kNoSlot || table[slot].parent != parent) continue;
    if (!visit(index, table.info(slot), table[slot].name())) return;
  }
}

std::string LocalReplica::identifier(Inode inode) {
  {
    const std::shared_lock lock(mutex_);
    const Slot slot = tree_.table().slotForInode(inode);
    if (slot != kNoSlot) return tree_.identifier(slot);
  }
  const std::unique_lock lock(mutex_);
  const Slot slot = loadedNode(inode);
  return slot == kNoSlot ? std::string() : tree_.identifier(slot);
}

std::string LocalReplica::name(Inode inode) {
  if (!node(inode)) return {};
  const std::shared_lock lock(mutex_);
  const Slot slot = tree_.table().slotForInode(inode);
  return slot == kNoSlot ? std::string() : std::string(tree_.table()[slot].name());
}

std::optional<Inode> LocalReplica::inodeForIdentifier(std::string_view identifier) {
  const std::unique_lock lock(mutex_);
  const Slot slot = tree_.loadIdentifier(identifier);
  if (slot == kNoSlot) return {};
  return tree_.table()[slot].inode;
}

std::optional<Inode> LocalReplica::inodeForRelativePath(std::string_view path) {
  const std::unique_lock lock(mutex_);
  const Slot slot = tree_.loadPath(path);
  if (slot == kNoSlot) return {};
  return tree_.table()[slot].inode;
}

std::string LocalReplica::symlinkTarget(Inode inode) {
  const auto known = node(inode);
  if (!known || known->kind != NodeKind::symlink) return {};
  {
    const std::shared_lock lock(mutex_);
    if (const std::string* here = editor_.symlinkTarget(inode)) return *here;
  }
  return editor_.storedText(inode, ReplicaReader::Text::symlinkTarget);
}

std::vector<std::pair<std::string, std::string>> LocalReplica::extendedAttributes(Inode inode) {
  if (!node(inode)) return {};
  {
    const std::shared_lock lock(mutex_);
    if (const std::string* here = editor_.attributesHere(inode)) return decodedAttributes(*here);
    const Slot slot = tree_.table().slotForInode(inode);
    if (slot == kNoSlot) return {};
    const NodeFields fields = tree_.table().fields(slot);
    if (fields.attributesDigest == 0 && (fields.here & kAttributesHere) == 0) return {};
  }
  return decodedAttributes(editor_.storedText(inode, ReplicaReader::Text::attributes));
}

std::optional<NSFileProviderItemVersion> LocalReplica::version(Inode inode) {
  const auto known = node(inode);
  const VersionTemplate* const base = templates_.current();
  if (!known || known->versionTag == 0 || base == nullptr) return {};
  const std::string compact = editor_.storedText(inode, ReplicaReader::Text::version);
  if (compact.empty()) return {};
  return base->decode(compact);
}

Replica::Counts LocalReplica::counts() {
  const auto natural = [](std::int64_t count) { return count < 0 ? 0 : static_cast<std::uint64_t>(count); };
  const ContentStore::Totals contents = contents_->totals();
  return {natural(counters_.items), natural(counters_.folders), contents.files, contents.bytes};
}

}  // namespace zelto
