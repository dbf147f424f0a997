#pragma once

#include <expected>
#include <string>
#include <string_view>

#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {

// A path's folder and its last component; both "" for the empty path.
struct SplitPath {
  std::string folder;
  std::string name;
};
SplitPath splitPath(std::string_view path);
// No leading or trailing slash; no component that is empty, "." or ".."; no NUL byte.
bool isRelativePath(std::string_view path);

// Opens paths below one folder of this machine that cannot leave it, whatever is moved meanwhile. Needs
// a kernel with openat2 (5.6).
// THREAD: any. ERRORS: errno values; ELOOP for a symbolic link anywhere in the path.
class BeneathFolder {
 public:
  static std::expected<BeneathFolder, int> open(const std::string& path);

  // "" is the folder itself. The path may be longer than the system's limit for one call.
  std::expected<UniqueDescriptor, int> openFolder(std::string_view path, int flags) const;
  std::expected<UniqueDescriptor, int> openFile(std::string_view path, int flags) const;

 private:
  explicit BeneathFolder(UniqueDescriptor descriptor) : descriptor_(std::move(descriptor)) {}
  std::expected<UniqueDescriptor, int> openBeneath(std::string_view path, int flags) const;

  UniqueDescriptor descriptor_;
};

}  // namespace zelto
