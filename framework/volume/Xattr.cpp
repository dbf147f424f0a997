#include <cerrno>
#include <string>
#include <string_view>

#include "framework/volume/Volume.h"

namespace zelto {
namespace {

constexpr std::string_view kUserPrefix = "user.";

// The server's attribute names stand in this system's user name space.
std::string localName(std::string_view name) {
  return name.starts_with(kUserPrefix) ? std::string(name) : std::string(kUserPrefix) + std::string(name);
}

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
  if (!std::string_view(name).starts_with(kUserPrefix)) {
    fuse_reply_err(request, ENODATA);
    return;
  }
  for (const auto& [key, value] : of(request).replica().extendedAttributes(ContentEpochs::inodeOf(node))) {
    if (localName(key) == name) return replySized(request, value, size);
  }
  fuse_reply_err(request, ENODATA);
}

void volume::listxattr(fuse_req_t request, fuse_ino_t node, std::size_t size) {
  std::string names;
  for (const auto& [key, value] : of(request).replica().extendedAttributes(ContentEpochs::inodeOf(node))) {
    names += localName(key);
    names += '\0';
  }
  replySized(request, names, size);
}

}  // namespace zelto
