#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "hostapp/BackendErrors.h"
#include "hostapp/FolderNames.h"
#include "hostapp/LocalFolderBackend.h"
#include "hostapp/LocalMove.h"
#include "hostapp/LocalPlace.h"
#include "hostapp/LocalRemoval.h"
#include "hostapp/LocalTreeCopy.h"
#include "hostapp/LocalUpload.h"
#include "hostapp/ServerPaths.h"
#include "hostapp/TemporaryName.h"

namespace zelto {

namespace {

constexpr mode_t kNewFolderMode = 0777;  // less the process's mask

}  // namespace

std::expected<std::unique_ptr<BackendWork>, NSError> LocalFolderBackend::upload(
    const UploadRequest& request) {
  auto place = LocalPlace::open(root_, request.path);
  if (!place) return std::unexpected(place.error());
  return LocalUpload::begin(std::move(*place), request, *hidden_);
}

std::expected<BackendEntry, NSError> LocalFolderBackend::createFolder(const std::string& path) {
  const auto place = LocalPlace::open(root_, path);
  if (!place) return std::unexpected(place.error());
  if (::mkdirat(place->folder.get(), place->name.c_str(), kNewFolderMode) != 0) {
    return std::unexpected(writeError(errno, path));
  }
  const auto made = place->look();
  if (!made) return std::unexpected(writeError(made.error(), path));
  return place->entry(made->get());
}

std::expected<std::unique_ptr<BackendWork>, NSError> LocalFolderBackend::remove(const std::string& path) {
  const auto place = LocalPlace::open(root_, path);
  if (!place) return std::unexpected(place.error());
  const auto item = place->look();
  if (!item) return std::unexpected(writeError(item.error(), path));
  return std::make_unique<LocalRemoval>(root_, path);
}

std::expected<BackendEntry, NSError> LocalFolderBackend::move(const std::string& path,
                                                              const std::string& destination) {
  if (path != destination && liesIn(destination, path))
    return std::unexpected(writeError(EINVAL, destination));
  const auto from = LocalPlace::open(root_, path);
  if (!from) return std::unexpected(from.error());
  const auto to = LocalPlace::open(root_, destination);
  if (!to) return std::unexpected(to.error());
  hidden_->noteMove(path, destination);
  auto moved = moveLocally(*from, *to);
  if (moved && path != destination) hidden_->moved(path);
  return moved;
}

std::expected<std::unique_ptr<BackendWork>, NSError> LocalFolderBackend::moveByCopying(
    const std::string& path, const std::string& destination) {
  const auto from = LocalPlace::open(root_, path);
  if (!from) return std::unexpected(from.error());
  auto to = LocalPlace::open(root_, destination);
  if (!to) return std::unexpected(to.error());
  return LocalTreeCopy::begin(root_, *from, std::move(*to), *hidden_);
}

void LocalFolderBackend::removeWhatWasLeft() {
  std::vector<std::string> remaining;
  for (const auto& folder : hidden_->earlier()) {
    const int code = removeWhatWasLeftIn(folder);
    const bool gone = code == ENOENT || code == ENOTDIR || code == ELOOP || code == EXDEV;
    if (code != 0 && !gone) remaining.push_back(folder);
  }
  hidden_->cleaned(remaining);
}

int LocalFolderBackend::removeWhatWasLeftIn(const std::string& folder) {
  if (!folder.empty() && !isRelativePath(folder)) return ENOENT;
  const auto opened = root_.openFolder(folder, O_RDONLY);
  if (!opened) return opened.error();
  auto found = namesIn(UniqueDescriptor(::dup(opened->get())));
  if (!found) return found.error();
  std::vector<std::string> names = std::move(found->others);
  names.insert(names.end(), found->folders.begin(), found->folders.end());
  std::erase_if(names, [](const std::string& name) { return !isTemporaryName(name); });
  sweep(opened->get(), folder, names);
  return 0;
}

// What a killed process has left in the folder.
void LocalFolderBackend::sweep(int folder, const std::string& path, const std::vector<std::string>& names) {
  for (const auto& name : names) {
    const auto left = takeOverTemporary(folder, name);
    if (!left) continue;
    LocalRemoval removal(root_, joinedPath(path, name));
    for (auto done = removal.step(); done && !*done;) done = removal.step();
  }
}

}  // namespace zelto
