#include "hostapp/LocalRemoval.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "hostapp/BackendErrors.h"
#include "hostapp/FolderNames.h"
#include "hostapp/LocalStat.h"
#include "hostapp/ServerPaths.h"

namespace zelto {

namespace {

constexpr std::size_t kEntriesAStep = 100;
// How often a folder is emptied into which others keep putting something.
constexpr int kAttempts = 5;

std::unexpected<NSError> failed(int code, const std::string& path) {
  return std::unexpected(writeError(code == EXDEV ? ENOENT : code, path));
}

bool isFolderAt(int folder, const std::string& name) {
  struct stat status {};
  return ::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

std::expected<bool, NSError> LocalRemoval::step() {
  std::expected<void, NSError> result;
  if (levels_.empty()) {
    result = begin();
  } else if (auto& level = levels_.back(); !level.entries.empty()) {
    result = removeEntries(level);
  } else if (!level.folders.empty()) {
    const auto path = joinedPath(level.path, level.folders.back());
    level.folders.pop_back();
    result = enter(path, 0);
  } else {
    result = leave();
  }
  if (!result) return std::unexpected(result.error());
  return levels_.empty();
}

std::expected<void, NSError> LocalRemoval::begin() {
  const auto split = splitPath(path_);
  const auto folder = root_.openFolder(split.folder, O_RDONLY);
  if (!folder) return failed(folder.error(), path_);
  if (isFolderAt(folder->get(), split.name)) return enter(path_, 0);
  if (::unlinkat(folder->get(), split.name.c_str(), 0) != 0) return failed(errno, path_);
  ++removed_;
  return {};
}

std::expected<void, NSError> LocalRemoval::enter(const std::string& path, int attempts) {
  auto folder = root_.openFolder(path, O_RDONLY);
  // Somebody else has removed it meanwhile: that is what was wanted.
  if (!folder && folder.error() == ENOENT && !levels_.empty()) return {};
  if (!folder) return failed(folder.error(), path);
  const int refusal = LocalStat(folder->get()).writeRefusal();
  auto names = namesIn(std::move(*folder));
  if (!names) return failed(names.error(), path);
  const bool empty = names->others.empty() && names->folders.empty();
  if (refusal != 0 && !empty) return failed(refusal, path);
  found_ += names->others.size() + names->folders.size();
  levels_.push_back({path, std::move(names->others), std::move(names->folders), attempts});
  return {};
}

std::expected<void, NSError> LocalRemoval::removeEntries(Level& level) {
  const auto folder = root_.openFolder(level.path, O_RDONLY);
  if (!folder) return failed(folder.error(), level.path);
  for (std::size_t i = 0; i < kEntriesAStep && !level.entries.empty(); ++i) {
    const auto& name = level.entries.back();
    if (::unlinkat(folder->get(), name.c_str(), 0) != 0 && errno != ENOENT) {
      return failed(errno, joinedPath(level.path, name));
    }
    level.entries.pop_back();
    ++removed_;
  }
  return {};
}

// The folder is empty, unless somebody has put something into it meanwhile.
std::expected<void, NSError> LocalRemoval::leave() {
  const auto level = std::move(levels_.back());
  levels_.pop_back();
  const auto split = splitPath(level.path);
  const auto folder = root_.openFolder(split.folder, O_RDONLY);
  if (!folder) return failed(folder.error(), level.path);
  if (::unlinkat(folder->get(), split.name.c_str(), AT_REMOVEDIR) == 0 || errno == ENOENT) {
    ++removed_;
    return {};
  }
  const bool refilled = errno == ENOTEMPTY || errno == EEXIST;
  if (!refilled || level.attempts >= kAttempts) return failed(errno, level.path);
  return enter(level.path, level.attempts + 1);
}

}  // namespace zelto
