#include "hostapp/BeneathFolder.h"

#include <cerrno>

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace zelto {

namespace {

constexpr std::size_t kLongestPiece = 3800;  // below PATH_MAX with room for one component

std::expected<UniqueDescriptor, int> openOne(int folder, const std::string& path, int flags) {
  open_how how{};
  how.flags = static_cast<std::uint64_t>(flags) | O_CLOEXEC;
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
  for (;;) {
    const long result = ::syscall(SYS_openat2, folder, path.c_str(), &how, sizeof how);
    if (result >= 0) return UniqueDescriptor(static_cast<int>(result));
    // EAGAIN: something was moved during the walk.
    if (errno != EINTR && errno != EAGAIN) return std::unexpected(errno);
  }
}

// As much of the path as one call takes, at a component's border.
std::string_view firstPiece(std::string_view path) {
  if (path.size() <= kLongestPiece) return path;
  const auto slash = path.rfind('/', kLongestPiece);
  return slash == std::string_view::npos ? path : path.substr(0, slash);
}

}  // namespace

SplitPath splitPath(std::string_view path) {
  const auto slash = path.rfind('/');
  if (slash == std::string_view::npos) return {"", std::string(path)};
  return {std::string(path.substr(0, slash)), std::string(path.substr(slash + 1))};
}

bool isRelativePath(std::string_view path) {
  if (path.find('\0') != std::string_view::npos) return false;
  while (true) {
    const auto slash = path.find('/');
    const auto component = path.substr(0, slash);
    if (component.empty() || component == "." || component == "..") return false;
    if (slash == std::string_view::npos) return true;
    path.remove_prefix(slash + 1);
  }
}

std::expected<BeneathFolder, int> BeneathFolder::open(const std::string& path) {
  UniqueDescriptor descriptor(::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!descriptor) return std::unexpected(errno);
  return BeneathFolder(std::move(descriptor));
}

std::expected<UniqueDescriptor, int> BeneathFolder::openBeneath(std::string_view path, int flags) const {
  UniqueDescriptor walked;
  int folder = descriptor_.get();
  for (;;) {
    const auto piece = firstPiece(path);
    const bool last = piece.size() == path.size();
    auto opened = openOne(folder, std::string(piece), last ? flags : O_PATH | O_DIRECTORY);
    if (!opened || last) return opened;
    walked = std::move(*opened);
    folder = walked.get();
    path.remove_prefix(piece.size() + 1);
  }
}

std::expected<UniqueDescriptor, int> BeneathFolder::openFolder(std::string_view path, int flags) const {
  if (path.empty()) return openOne(descriptor_.get(), ".", flags | O_DIRECTORY);
  if (!isRelativePath(path)) return std::unexpected(ENOENT);
  return openBeneath(path, flags | O_DIRECTORY);
}

std::expected<UniqueDescriptor, int> BeneathFolder::openFile(std::string_view path, int flags) const {
  if (!isRelativePath(path)) return std::unexpected(ENOENT);
  // A pipe at the path must not block the opener.
  return openBeneath(path, flags | O_NOFOLLOW | O_NONBLOCK);
}

}  // namespace zelto
