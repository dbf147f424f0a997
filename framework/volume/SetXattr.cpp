#include <cerrno>
#include <optional>
#include <string>

#include <sys/xattr.h>

#include "framework/volume/ExtendedAttributes.h"
#include "framework/volume/Permissions.h"
#include "framework/volume/Volume.h"

namespace zelto {
namespace {

constexpr std::size_t kLargestValue = 64 << 10;
// Names and values of one file together.
constexpr std::size_t kMostBytes = 256 << 10;

int errnoToChange(Volume& volume, Inode inode, std::string_view name) {
  if (!isUserAttribute(name)) return EOPNOTSUPP;
  if (name == kStateAttribute) return EPERM;
  const auto node = volume.replica().node(inode);
  if (!node) return ENOENT;
  return Permissions(volume.replica()).toChange(*node);
}

// What there is under a name, and how much there is besides it.
struct Present {
  std::optional<std::string> key;  // the name as the replica has it
  std::size_t otherBytes = 0;
};

Present presentAt(Replica& replica, Inode inode, std::string_view name) {
  Present present;
  for (const auto& [key, value] : replica.extendedAttributes(inode)) {
    if (localAttributeName(key) == name) {
      present.key = key;
    } else {
      present.otherBytes += key.size() + value.size();
    }
  }
  return present;
}

int setAttribute(Volume& volume, Inode inode, const std::string& name, std::string value, int flags) {
  if (const int code = errnoToChange(volume, inode, name)) return code;
  const Present present = presentAt(volume.replica(), inode, name);
  if (present.key && (flags & XATTR_CREATE) != 0) return EEXIST;
  if (!present.key && (flags & XATTR_REPLACE) != 0) return ENODATA;
  if (value.size() > kLargestValue) return E2BIG;
  if (present.otherBytes + name.size() + value.size() > kMostBytes) return ENOSPC;
  return volume.replica().setExtendedAttribute(inode, present.key.value_or(name), std::move(value));
}

int removeAttribute(Volume& volume, Inode inode, const std::string& name) {
  if (const int code = errnoToChange(volume, inode, name)) return code;
  const Present present = presentAt(volume.replica(), inode, name);
  return present.key ? volume.replica().setExtendedAttribute(inode, *present.key, std::nullopt) : ENODATA;
}

}  // namespace

void volume::setxattr(fuse_req_t request, fuse_ino_t node, const char* name, const char* value,
                      std::size_t size, int flags) {
  fuse_reply_err(request,
                 setAttribute(of(request), kernelnode::inodeOf(node), name, std::string(value, size), flags));
}

void volume::removexattr(fuse_req_t request, fuse_ino_t node, const char* name) {
  fuse_reply_err(request, removeAttribute(of(request), kernelnode::inodeOf(node), name));
}

}  // namespace zelto
