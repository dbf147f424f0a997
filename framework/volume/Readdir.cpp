#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include <sys/stat.h>

#include "framework/volume/Volume.h"

namespace zelto {
namespace {

// An open folder: its children as they were when it was opened.
struct FolderHandle {
  std::shared_ptr<const std::vector<Inode>> children;
  Inode folder;
  Inode parent;
};

constexpr std::size_t kDotEntries = 2;  // "." and ".."

void replyOpened(fuse_req_t request, Inode folder, fuse_file_info file) {
  Replica& replica = volume::of(request).replica();
  FolderCaches& caches = volume::of(request).folderCaches();
  const bool keep = caches.opened(folder);  // before the children are looked at: they may change after that
  const auto node = replica.node(folder);
  auto children = replica.children(folder);
  if (!node || !children) {
    caches.closed(folder);
    fuse_reply_err(request, node ? EIO : ENOENT);
    return;
  }
  auto handle = std::make_unique<FolderHandle>(std::move(children), folder, node->parent);
  file.fh = reinterpret_cast<std::uint64_t>(handle.get());
  file.cache_readdir = 1;
  file.keep_cache = keep ? 1 : 0;
  if (fuse_reply_open(request, &file) == 0) {
    static_cast<void>(handle.release());
  } else {
    caches.closed(folder);
  }
}

// Fills one reply with entries, with or without attributes.
class EntryBuffer {
 public:
  EntryBuffer(fuse_req_t request, std::size_t size, bool withAttributes)
      : request_(request), withAttributes_(withAttributes), bytes_(size) {}

  // False when the entry does not fit any more.
  bool add(const char* name, const fuse_entry_param& entry, std::size_t next) {
    char* at = bytes_.data() + used_;
    const std::size_t left = bytes_.size() - used_;
    const auto offset = static_cast<off_t>(next);
    const std::size_t needed = withAttributes_
                                   ? fuse_add_direntry_plus(request_, at, left, name, &entry, offset)
                                   : fuse_add_direntry(request_, at, left, name, &entry.attr, offset);
    if (needed > left) return false;
    used_ += needed;
    return true;
  }

  void reply() { fuse_reply_buf(request_, bytes_.data(), used_); }

 private:
  fuse_req_t request_;
  const bool withAttributes_;
  std::vector<char> bytes_;
  std::size_t used_ = 0;
};

bool addDotEntries(EntryBuffer& buffer, const FolderHandle& handle, std::size_t first) {
  const Inode inodes[] = {handle.folder, handle.parent == 0 ? handle.folder : handle.parent};
  const char* const names[] = {".", ".."};
  for (std::size_t i = first; i < kDotEntries; ++i) {
    fuse_entry_param entry{};  // a node of 0: the kernel takes the name only
    entry.attr.st_ino = inodes[i];
    entry.attr.st_mode = S_IFDIR;
    if (!buffer.add(names[i], entry, i + 1)) return false;
  }
  return true;
}

void list(fuse_req_t request, std::size_t size, off_t offset, const fuse_file_info* file,
          bool withAttributes) {
  const auto& handle = *reinterpret_cast<const FolderHandle*>(file->fh);
  Volume& volume = volume::of(request);
  EntryBuffer buffer(request, size, withAttributes);
  const auto first = static_cast<std::size_t>(offset);
  if (first >= kDotEntries || addDotEntries(buffer, handle, first)) {
    std::string terminated;  // kept from entry to entry for its memory
    volume.replica().visit(handle.folder, *handle.children, first < kDotEntries ? 0 : first - kDotEntries,
                           [&](std::size_t index, const NodeInfo& node, std::string_view name) {
                             terminated.assign(name);
                             const bool added =
                                 buffer.add(terminated.c_str(), volume.entry(node), index + kDotEntries + 1);
                             if (added && withAttributes) volume.told(node);
                             return added;
                           });
  }
  buffer.reply();
}

}  // namespace

void volume::opendir(fuse_req_t request, fuse_ino_t node, fuse_file_info* file) {
  Volume& volume = of(request);
  const Inode folder = node;
  const auto info = volume.replica().node(folder);
  if (!info) {
    fuse_reply_err(request, ENOENT);
    return;
  }
  const auto opened = *file;
  if (info->listed) {
    replyOpened(request, folder, opened);
  } else {
    volume.lister().list(folder, volume.kernelRequests().hold(request, [folder, opened](fuse_req_t held) {
      replyOpened(held, folder, opened);
    }));
  }
  volume.walkAhead().openedFolder(*info, !info->listed);
}

void volume::readdir(fuse_req_t request, fuse_ino_t, std::size_t size, off_t offset, fuse_file_info* file) {
  list(request, size, offset, file, false);
}

void volume::readdirplus(fuse_req_t request, fuse_ino_t, std::size_t size, off_t offset,
                         fuse_file_info* file) {
  list(request, size, offset, file, true);
}

void volume::releasedir(fuse_req_t request, fuse_ino_t, fuse_file_info* file) {
  const std::unique_ptr<FolderHandle> handle(reinterpret_cast<FolderHandle*>(file->fh));
  of(request).folderCaches().closed(handle->folder);
  fuse_reply_err(request, 0);
}

}  // namespace zelto
