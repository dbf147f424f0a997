#include "framework/volume/Opened.h"

#include <cerrno>

#include <fcntl.h>

namespace zelto {
namespace {

std::unique_ptr<FileHandle> makeHandle(Volume& volume, fuse_ino_t node, const NodeInfo& info,
                                       std::shared_ptr<ContentFile> content, bool writing) {
  auto file = volume.openFiles().opened(node, info, content);
  return std::make_unique<FileHandle>(volume.replica(), std::move(file),
                                      writing ? std::move(content) : nullptr);
}

std::unique_ptr<FileHandle> handleOf(fuse_req_t request, fuse_ino_t node,
                                     std::shared_ptr<ContentFile> content, bool writing) {
  Volume& volume = volume::of(request);
  // It may be gone already; what is known of it is its number then.
  NodeInfo info{.inode = kernelnode::inodeOf(node)};
  if (const auto known = volume.replica().node(info.inode)) info = *known;
  return makeHandle(volume, node, info, std::move(content), writing);
}

// An interrupted open is not opened: the handle is ours again.
void reply(fuse_req_t request, const fuse_file_info& file, std::unique_ptr<FileHandle> handle) {
  if (fuse_reply_open(request, &file) == 0) static_cast<void>(handle.release());
}

void describe(fuse_file_info& file, const FileHandle& handle) {
  file.fh = reinterpret_cast<std::uint64_t>(&handle);
  // Each version has a node of its own, so its pages stay true from open to open.
  file.keep_cache = 1;
  // A reader has nothing to hand over when it closes; a writer may have pages mapped.
  file.noflush = handle.writing() == nullptr ? 1 : 0;
}

}  // namespace

void replyOpened(fuse_req_t request, fuse_ino_t node, std::shared_ptr<ContentFile> content,
                 fuse_file_info file, bool writing) {
  auto handle = handleOf(request, node, std::move(content), writing);
  describe(file, *handle);
  reply(request, file, std::move(handle));
}

void replyOpenedPicture(fuse_req_t request, fuse_ino_t node, std::shared_ptr<ContentFile> content,
                        fuse_file_info file, std::string picture) {
  auto handle = handleOf(request, node, std::move(content), false);
  handle->show(std::move(picture));
  describe(file, *handle);
  file.direct_io = 1;
  reply(request, file, std::move(handle));
}

void replyCreated(fuse_req_t request, const Replica::Created& created, fuse_file_info file) {
  Volume& volume = volume::of(request);
  const bool writing = (file.flags & O_ACCMODE) != O_RDONLY;
  const fuse_entry_param entry = volume.entry(created.node);
  auto handle = makeHandle(volume, entry.ino, created.node, created.content, writing);
  if (!writing) volume.replica().endWriting(created.node.inode, *created.content);
  describe(file, *handle);
  if (fuse_reply_create(request, &entry, &file) == 0) static_cast<void>(handle.release());
}

}  // namespace zelto
