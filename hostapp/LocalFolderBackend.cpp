#include "hostapp/LocalFolderBackend.h"

#include <cerrno>
#include <string_view>

#include <dirent.h>
#include <fcntl.h>

#include "hostapp/BackendErrors.h"
#include "hostapp/LocalFile.h"
#include "hostapp/LocalPlace.h"
#include "hostapp/LocalShareRecords.h"
#include "hostapp/LocalStat.h"
#include "hostapp/ReservedName.h"
#include "hostapp/TemporaryName.h"

namespace zelto {

namespace {

struct CloseDirectory {
  void operator()(DIR* directory) const { ::closedir(directory); }
};
using Directory = std::unique_ptr<DIR, CloseDirectory>;

std::expected<Directory, NSError> directoryOf(UniqueDescriptor descriptor, const std::string& folder) {
  Directory directory(::fdopendir(descriptor.get()));
  if (!directory) return std::unexpected(backendError(errno, folder));
  descriptor.release();
  return directory;
}

bool isDotName(std::string_view name) { return name == "." || name == ".."; }

bool meansNotThere(int code) { return code == ENOENT || code == ENOTDIR || code == ENAMETOOLONG; }

// Kinds that are never served need no further look.
bool isServedKind(unsigned char type) {
  return type == DT_REG || type == DT_DIR || type == DT_LNK || type == DT_UNKNOWN;
}

}  // namespace

std::expected<std::shared_ptr<LocalFolderBackend>, NSError> LocalFolderBackend::serving(
    const std::string& folder, std::shared_ptr<HiddenPlaces> hidden) {
  auto root = BeneathFolder::open(folder);
  if (!root) return std::unexpected(backendError(root.error(), folder));
  auto second = BeneathFolder::open(folder);
  if (!second) return std::unexpected(backendError(second.error(), folder));
  auto records = std::make_shared<LocalShareRecords>(std::move(*second));
  return std::shared_ptr<LocalFolderBackend>(
      new LocalFolderBackend(std::move(*root), std::move(hidden), std::move(records)));
}

std::expected<UniqueDescriptor, int> LocalFolderBackend::openFolder(const std::string& folder,
                                                                    int flags) const {
  if (hasReservedName(folder)) return std::unexpected(ENOENT);
  return root_.openFolder(folder, flags);
}

std::expected<BackendListing, NSError> LocalFolderBackend::list(const std::string& folder) {
  auto opened = openFolder(folder, O_RDONLY);
  if (!opened) return std::unexpected(backendError(opened.error(), folder));
  auto directory = directoryOf(std::move(*opened), folder);
  if (!directory) return std::unexpected(directory.error());
  const LocalStat look(::dirfd(directory->get()));
  BackendListing listing{look.inode(), {}, {}};
  std::vector<std::string> temporary;
  for (;;) {
    errno = 0;
    const dirent* found = ::readdir(directory->get());
    if (found == nullptr) break;
    if (isDotName(found->d_name) || isReservedName(found->d_name) || !isServedKind(found->d_type)) continue;
    const std::string name = found->d_name;
    if (isTemporaryName(name)) {
      temporary.push_back(name);
    } else if (!isUsableName(name)) {
      listing.unusableNames.push_back(name);
    } else if (auto entry = look.entry(name)) {
      listing.entries.push_back(std::move(*entry));
    }
  }
  if (errno != 0) return std::unexpected(backendError(errno, folder));
  if (!temporary.empty()) sweep(::dirfd(directory->get()), folder, temporary);
  return listing;
}

std::expected<BackendEntry, NSError> LocalFolderBackend::stat(const std::string& path) {
  const auto split = splitPath(path);
  auto found = statNames(split.folder, {split.name});
  if (!found) return std::unexpected(found.error());
  if (!found->front()) return std::unexpected(noSuchItemError(path));
  return std::move(*found->front());
}

std::expected<std::vector<std::optional<BackendEntry>>, NSError> LocalFolderBackend::statNames(
    const std::string& folder, const std::vector<std::string>& names) {
  auto opened = openFolder(folder, O_PATH);
  if (!opened) return std::unexpected(backendError(opened.error(), folder));
  const LocalStat look(opened->get());
  std::vector<std::optional<BackendEntry>> found;
  found.reserve(names.size());
  for (const auto& name : names) {
    auto entry = isEntryName(name) ? look.entry(name) : std::unexpected(ENOENT);
    if (!entry && !meansNotThere(entry.error())) return std::unexpected(backendError(entry.error(), folder));
    found.push_back(entry ? std::optional(std::move(*entry)) : std::nullopt);
  }
  return found;
}

std::expected<std::unique_ptr<BackendFile>, NSError> LocalFolderBackend::open(const std::string& path) {
  auto split = splitPath(path);
  auto folder = openFolder(split.folder, O_PATH);
  if (!folder) return std::unexpected(backendError(folder.error(), path));
  if (!isEntryName(split.name)) return std::unexpected(noSuchItemError(path));
  const auto entry = LocalStat(folder->get()).entry(split.name);
  if (!entry) return std::unexpected(backendError(entry.error(), path));
  if (entry->stat.kind != EntryKind::file) {
    return std::unexpected(cocoaError(kReadUnknownError, "\"" + path + "\": it is not a file"));
  }
  UniqueDescriptor file(
      ::openat(folder->get(), split.name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file) return std::unexpected(backendError(errno, path));
  struct stat status {};
  if (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return std::unexpected(noSuchItemError(path));
  }
  return std::make_unique<LocalFile>(path, std::move(split.name), std::move(*folder), std::move(file));
}

void LocalFolderBackend::setChangeHandler(std::function<void(FolderEvent)> handler) {
  if (!handler) return watch_.reset();
  watch_ = std::make_unique<InotifyWatch>([report = std::move(handler)](FolderEvent event) {
    if (!isTemporaryName(event.name) && !isReservedName(event.name)) report(std::move(event));
  });
}

bool LocalFolderBackend::watch(const std::string& folder) {
  if (!watch_) return false;
  const auto opened = openFolder(folder, O_PATH);
  return opened && watch_->add(folder, opened->get());
}

void LocalFolderBackend::unwatch(const std::string& folder) {
  if (watch_) watch_->remove(folder);
}

}  // namespace zelto
