#include <cerrno>
#include <mutex>

#include <unistd.h>

#include "framework/replica/LocalReplica.h"

namespace zelto {

// Under the lock, so that the version cannot change in between.
std::shared_ptr<ContentFile> LocalReplica::contentUnopened(Inode inode) {
  if (!node(inode)) return nullptr;
  const std::shared_lock lock(mutex_);
  const NodeTable& table = tree_.table();
  const Slot slot = table.slotForInode(inode);
  if (slot == kNoSlot || table[slot].kind != NodeKind::file) return nullptr;
  return contents_->file(inode, table[slot].versionTag, table[slot].size);
}

std::expected<std::shared_ptr<ContentFile>, NSError> LocalReplica::content(Inode inode) {
  constexpr int kTries = 3;
  for (int tried = 0; tried < kTries; ++tried) {
    auto file = contentUnopened(inode);
    if (!file) return std::unexpected(posixError("no such file", ENOENT));
    auto opened = contents_->opened(std::move(file));
    if (!opened || *opened) return opened;
  }
  return std::unexpected(posixError("the content cannot be opened", EIO));
}

std::vector<NSRange> LocalReplica::materialisedRanges(Inode inode) {
  const auto known = node(inode);
  if (!known || known->kind != NodeKind::file) return {};
  return contents_->ranges(inode, known->versionTag, known->size);
}

// Whatever is not loaded is asked of the database.
std::vector<Inode> LocalReplica::filesBelow(Slot top) {
  const NodeTable& table = tree_.table();
  std::vector<Inode> files;
  std::vector<Slot> subtree{top};
  for (std::size_t at = 0; at < subtree.size(); ++at) {
    const TableNode& node = table[subtree[at]];
    if (node.kind == NodeKind::file) files.push_back(node.inode);
    if (node.kind != NodeKind::folder) continue;
    table.forEachChild(subtree[at], [&](Slot child) { subtree.push_back(child); });
    if (node.loaded) continue;
    const auto kept = reader_.contentsBelow(node.inode);
    files.insert(files.end(), kept.begin(), kept.end());
  }
  return files;
}

std::uint64_t LocalReplica::evict(Inode inode) {
  if (!node(inode)) return 0;
  std::vector<Inode> files;
  {
    const std::unique_lock lock(mutex_);
    const Slot slot = tree_.table().slotForInode(inode);
    if (slot != kNoSlot) files = filesBelow(slot);
  }
  std::uint64_t freed = 0;
  for (const Inode file : files) {
    const auto removed = contents_->evict(file);
    if (!removed) continue;
    ::unlink(removed->path.c_str());
    freed += removed->bytes;
  }
  return freed;
}

}  // namespace zelto
