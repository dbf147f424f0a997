#include <cerrno>

#include <sys/stat.h>

#include "framework/volume/FileHandle.h"
#include "framework/volume/NoticeAnswers.h"
#include "framework/volume/Now.h"
#include "framework/volume/Permissions.h"
#include "framework/volume/Volume.h"
#include "framework/volume/Writable.h"

namespace zelto {
namespace {

// What is asked for besides another size.
struct Wanted {
  LocalAttributes attributes;
  bool any = false;
};

std::int64_t nanoseconds(const std::timespec& time) { return time.tv_sec * 1'000'000'000LL + time.tv_nsec; }

std::optional<std::int64_t> dateWanted(int toSet, int given, int now, const std::timespec& time) {
  if ((toSet & now) != 0) return nanosecondsNow();
  if ((toSet & given) != 0) return nanoseconds(time);
  return {};
}

Wanted wantedOf(const struct stat& attributes, int toSet) {
  constexpr mode_t kPermissions = 0777;
  Wanted wanted;
  if ((toSet & FUSE_SET_ATTR_MODE) != 0) {
    wanted.attributes.permissions = static_cast<std::uint16_t>(attributes.st_mode & kPermissions);
  }
  wanted.attributes.modifiedNs =
      dateWanted(toSet, FUSE_SET_ATTR_MTIME, FUSE_SET_ATTR_MTIME_NOW, attributes.st_mtim);
  wanted.attributes.accessedNs =
      dateWanted(toSet, FUSE_SET_ATTR_ATIME, FUSE_SET_ATTR_ATIME_NOW, attributes.st_atim);
  wanted.any = wanted.attributes.permissions || wanted.attributes.modifiedNs || wanted.attributes.accessedNs;
  return wanted;
}

// A file that is gone: only those who have it open see it.
void setOfGone(OpenFile& file, const LocalAttributes& attributes) {
  NodeInfo node = file.node();
  if (attributes.permissions) node.permissions = *attributes.permissions;
  if (attributes.modifiedNs) node.modifiedNs = *attributes.modifiedNs;
  if (attributes.accessedNs) node.accessedNs = *attributes.accessedNs;
  file.setNode(node);
}

int setWanted(Volume& volume, fuse_ino_t node, const Wanted& wanted) {
  if (!wanted.any) return 0;
  const auto info = volume.replica().node(kernelnode::inodeOf(node));
  const auto open = volume.openFiles().find(node);
  if (!info && !open) return ENOENT;
  if (!info) {
    setOfGone(*open, wanted.attributes);
    return 0;
  }
  if (const int code = Permissions(volume.replica()).toChange(*info)) return code;
  return volume.replica().setAttributes(info->inode, wanted.attributes);
}

void setAndReply(fuse_req_t request, fuse_ino_t node, const Wanted& wanted) {
  Volume& volume = volume::of(request);
  if (const int code = setWanted(volume, node, wanted)) {
    fuse_reply_err(request, code);
  } else {
    volume::replyAttributes(request, node);
  }
}

int resizeOpen(FileHandle& handle, std::uint64_t size) {
  if (handle.writing() == nullptr) return EINVAL;
  const int code = handle.writing()->resize(size);
  if (code == 0) handle.wrote();
  return code;
}

int resizeClosed(Replica& replica, Inode inode, ContentFile& content, std::uint64_t size) {
  const int code = content.size() == size ? 0 : content.resize(size);
  if (code == 0) replica.written(inode, content);
  replica.endWriting(inode, content);
  return code;
}

void truncateByPath(fuse_req_t request, fuse_ino_t node, std::uint64_t size, const Wanted& wanted) {
  whenWritable(request, node, size == 0,
               [node, size, wanted](fuse_req_t held, const std::shared_ptr<ContentFile>& content) {
                 const int code =
                     resizeClosed(volume::of(held).replica(), kernelnode::inodeOf(node), *content, size);
                 if (code == 0) return setAndReply(held, node, wanted);
                 fuse_reply_err(held, code);
               });
}

}  // namespace

void volume::setattr(fuse_req_t request, fuse_ino_t node, struct stat* attributes, int toSet,
                     fuse_file_info* file) {
  if (notice::setattr(request, node)) return;
  Volume& volume = of(request);
  if (!volume.isOwner((toSet & FUSE_SET_ATTR_UID) != 0 ? std::optional(attributes->st_uid) : std::nullopt,
                      (toSet & FUSE_SET_ATTR_GID) != 0 ? std::optional(attributes->st_gid) : std::nullopt)) {
    fuse_reply_err(request, EPERM);
    return;
  }
  const Wanted wanted = wantedOf(*attributes, toSet);
  if ((toSet & FUSE_SET_ATTR_SIZE) == 0) return setAndReply(request, node, wanted);
  const auto size = static_cast<std::uint64_t>(attributes->st_size);
  if (file == nullptr) return truncateByPath(request, node, size, wanted);
  if (const int code = resizeOpen(*FileHandle::of(file), size)) {
    fuse_reply_err(request, code);
    return;
  }
  setAndReply(request, node, wanted);
}

}  // namespace zelto
