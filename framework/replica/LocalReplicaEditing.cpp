#include <cerrno>
#include <mutex>

#include <unistd.h>

#include "framework/replica/LocalReplica.h"

namespace zelto {

std::optional<NSError> LocalReplica::recover() {
  const std::unique_lock lock(mutex_);
  if (const int code = editor_.recover()) return posixError("the log of local changes", code);
  return {};
}

void LocalReplica::tell(Inode inode) {
  if (changeHandler_) changeHandler_(inode);
}

void LocalReplica::keepFoldersAbove(Inode inode) {
  {
    const std::shared_lock lock(mutex_);
    if (newFolders_.empty()) return;
    const NodeTable& table = tree_.table();
    Slot slot = table.slotForInode(inode);
    while (slot != kNoSlot && slot != table.root() && !newFolders_.contains(table[slot].inode)) {
      slot = table[slot].parent;
    }
    if (slot == kNoSlot || slot == table.root()) return;
  }
  journal_->flush();
}

int LocalReplica::edit(Inode inode, const std::function<int(Slot)>& what) {
  keepFoldersAbove(inode);
  {
    const std::unique_lock lock(mutex_);
    const Slot slot = loadedNode(inode);
    if (slot == kNoSlot) return ENOENT;
    if (const int code = what(slot)) return code;
  }
  tell(inode);
  return 0;
}

std::expected<Replica::Created, int> LocalReplica::create(Inode folder, std::string_view name,
                                                          const NewNode& what) {
  keepFoldersAbove(folder);
  writer_.reserveInodes(1);
  const Inode inode = writer_.nextInode();
  Created created;
  if (what.kind == NodeKind::file) {
    auto content = contents_->makeLocal(inode);
    if (!content) return std::unexpected(content.error());
    created.content = *std::move(content);
  }
  {
    const std::unique_lock lock(mutex_);
    const Slot parent = loadedNode(folder);
    const auto slot = parent == kNoSlot ? std::unexpected(ENOENT) : editor_.create(parent, name, what, inode);
    if (slot) {
      created.node = tree_.table().info(*slot);
    } else {
      if (const auto removed = contents_->remove(inode)) ::unlink(removed->path.c_str());
      return std::unexpected(slot.error());
    }
  }
  tell(inode);
  return created;
}

int LocalReplica::rename(Inode inode, Inode folder, std::string_view name, bool mayReplace) {
  keepFoldersAbove(folder);
  Inode replaced = 0;
  const int code = edit(inode, [&](Slot slot) {
    const Slot parent = loadedNode(folder);
    if (parent == kNoSlot) return ENOENT;
    const Slot target = tree_.table().child(parent, name);
    if (target != kNoSlot && target != slot) replaced = tree_.table()[target].inode;
    return editor_.rename(slot, parent, name, mayReplace);
  });
  if (code == 0 && replaced != 0) tell(replaced);
  return code;
}

int LocalReplica::remove(Inode inode) {
  return edit(inode, [this](Slot slot) { return editor_.remove(slot); });
}

int LocalReplica::setAttributes(Inode inode, const LocalAttributes& attributes) {
  return edit(inode, [&](Slot slot) { return editor_.setAttributes(slot, attributes); });
}

int LocalReplica::setExtendedAttribute(Inode inode, const std::string& name,
                                       const std::optional<std::string>& value) {
  return edit(inode, [&](Slot slot) { return editor_.setExtendedAttribute(slot, name, value); });
}

std::expected<std::shared_ptr<ContentFile>, int> LocalReplica::beginWriting(Inode inode, bool truncate) {
  auto file = content(inode);
  if (!file) return std::unexpected(static_cast<int>(file.error().code()));
  keepFoldersAbove(inode);
  {
    const std::unique_lock lock(mutex_);
    const Slot slot = loadedNode(inode);
    if (slot == kNoSlot) return std::unexpected(ENOENT);
    if ((*file)->detached()) return std::unexpected(EAGAIN);
    if (const int code = editor_.beginWriting(slot, *file, truncate)) return std::unexpected(code);
  }
  tell(inode);
  return file.value();
}

void LocalReplica::written(Inode inode, const ContentFile& content) {
  {
    const std::unique_lock lock(mutex_);
    const Slot slot = tree_.table().slotForInode(inode);
    if (slot == kNoSlot || !editor_.written(slot, content)) return;
  }
  tell(inode);
}

void LocalReplica::endWriting(Inode inode, const ContentFile& content) {
  {
    const std::unique_lock lock(mutex_);
    const Slot slot = tree_.table().slotForInode(inode);
    if (slot == kNoSlot || !editor_.endWriting(slot, content)) return;
  }
  tell(inode);
}

int LocalReplica::syncLocalChanges() {
  UniqueDescriptor log;
  {
    const std::shared_lock lock(mutex_);
    log = editor_.changes().logDescriptor();
  }
  if (!log) return errno;
  return ::fdatasync(log.get()) == 0 ? 0 : errno;
}

}  // namespace zelto
