#include <cerrno>
#include <string>
#include <string_view>

#include "framework/volume/ExtendedAttributes.h"
#include "framework/volume/Volume.h"

namespace zelto {
namespace {

void replySized(fuse_req_t request, std::string_view bytes, std::size_t size) {
  if (size == 0) {
    fuse_reply_xattr(request, bytes.size());
  } else if (bytes.size() > size) {
    fuse_reply_err(request, ERANGE);
  } else {
    fuse_reply_buf(request, bytes.data(), bytes.size());
  }
}

}  // namespace

void volume::getxattr(fuse_req_t request, fuse_ino_t node, const char* name, std::size_t size) {
  // Programs ask for security and access-list attributes of every file; there are none.
  if (!isUserAttribute(name)) {
    fuse_reply_err(request, ENODATA);
    return;
  }
  const Inode inode = kernelnode::inodeOf(node);
  if (name == kStateAttribute) {
    const auto state = of(request).stateOf(inode);
    if (state) return replySized(request, *state, size);
  }
  for (const auto& [key, value] : of(request).replica().extendedAttributes(inode)) {
    if (localAttributeName(key) == name) return replySized(request, value, size);
  }
  fuse_reply_err(request, ENODATA);
}

void volume::listxattr(fuse_req_t request, fuse_ino_t node, std::size_t size) {
  const Inode inode = kernelnode::inodeOf(node);
  std::string names;
  for (const auto& [key, value] : of(request).replica().extendedAttributes(inode)) {
    names += localAttributeName(key);
    names += '\0';
  }
  if (of(request).stateOf(inode)) names.append(kStateAttribute).append(1, '\0');
  replySized(request, names, size);
}

}  // namespace zelto
