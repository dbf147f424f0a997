#include "hostapp/LocalTreeCopy.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "hostapp/BackendErrors.h"
#include "hostapp/DescriptorCopy.h"
#include "hostapp/FileAttributes.h"
#include "hostapp/FolderNames.h"
#include "hostapp/LocalStat.h"
#include "hostapp/RenameAtomically.h"
#include "hostapp/ServerPaths.h"
#include "hostapp/StableRead.h"

namespace zelto {

namespace {

void copyDate(int from, int to) {
  struct stat status {};
  if (::fstat(from, &status) != 0) return;
  const std::array<std::timespec, 2> times{status.st_atim, status.st_mtim};
  ::futimens(to, times.data());
}

// A link, or a kind that is not served but stays what it is.
int copySpecial(int from, const std::string& name, const struct stat& status, int to,
                const std::string& newName) {
  if (!S_ISLNK(status.st_mode)) {
    return ::mknodat(to, newName.c_str(), status.st_mode, status.st_rdev) == 0 ? 0 : errno;
  }
  std::string target(static_cast<std::size_t>(status.st_size) + 1, '\0');
  const ssize_t length = ::readlinkat(from, name.c_str(), target.data(), target.size());
  if (length < 0) return errno;
  target.resize(static_cast<std::size_t>(length));
  if (::symlinkat(target.c_str(), to, newName.c_str()) != 0) return errno;
  const std::array<std::timespec, 2> times{status.st_atim, status.st_mtim};
  ::utimensat(to, newName.c_str(), times.data(), AT_SYMLINK_NOFOLLOW);
  return 0;
}

}  // namespace

std::expected<std::unique_ptr<BackendWork>, NSError> LocalTreeCopy::begin(const BeneathFolder& root,
                                                                          const LocalPlace& from,
                                                                          LocalPlace to,
                                                                          HiddenPlaces& hidden) {
  if (to.look()) return std::unexpected(writeError(EEXIST, to.path));
  std::unique_ptr<LocalTreeCopy> work(new LocalTreeCopy(root, from.path, std::move(to)));
  if (const int code = work->start(from, hidden); code != 0)
    return std::unexpected(writeError(code, from.path));
  return work;
}

LocalTreeCopy::~LocalTreeCopy() {
  file_.reset();
  if (!temporary_ || shown_) return;
  LocalRemoval removal(root_, target(""));
  for (auto done = removal.step(); done && !*done;) done = removal.step();
}

std::string LocalTreeCopy::source(const std::string& path) const { return joinedPath(from_, path); }

std::string LocalTreeCopy::target(const std::string& path) const {
  return joinedPath(joinedPath(splitPath(to_.path).folder, temporary_->name()), path);
}

int LocalTreeCopy::start(const LocalPlace& from, HiddenPlaces& hidden) {
  const auto item = from.look();
  if (!item) return item.error();
  const auto kind = from.entry(item->get()).stat.kind;
  if (kind == EntryKind::symbolicLink) return 0;
  const int folder = to_.folder.get();
  hidden.note(splitPath(to_.path).folder);
  auto made =
      kind == EntryKind::folder ? TemporaryEntry::makeFolder(folder) : TemporaryEntry::makeFile(folder);
  if (!made) return made.error();
  temporary_.emplace(std::move(*made));
  if (kind == EntryKind::folder) return enter("");
  auto opened = root_.openFile(from.path, O_RDONLY);
  if (!opened) return opened.error();
  auto before = LocalStat(from.folder.get()).opened(from.name, opened->get());
  file_.emplace("", std::move(*opened), UniqueDescriptor(::dup(temporary_->descriptor())), 0,
                std::move(before));
  return 0;
}

std::expected<bool, NSError> LocalTreeCopy::step() {
  if (shown_) return removal_.step();
  const int code = isReadyToShow() ? show() : copyStep();
  if (code == 0) return false;
  return std::unexpected(writeError(code, shown_ || isReadyToShow() ? to_.path : source(failedAt_)));
}

int LocalTreeCopy::copyStep() {
  if (file_) return copyFilePiece();
  auto& level = levels_.back();
  if (!level.entries.empty()) {
    failedAt_ = joinedPath(level.path, level.entries.back());
    level.entries.pop_back();
    return copyEntry(failedAt_);
  }
  if (level.folders.empty()) return leave();
  failedAt_ = joinedPath(level.path, level.folders.back());
  level.folders.pop_back();
  const auto split = splitPath(target(failedAt_));
  const auto parent = root_.openFolder(split.folder, O_RDONLY);
  if (!parent) return parent.error();
  if (::mkdirat(parent->get(), split.name.c_str(), 0700) != 0) return errno;
  return enter(failedAt_);
}

int LocalTreeCopy::enter(const std::string& path) {
  auto folder = root_.openFolder(source(path), O_RDONLY);
  if (!folder) return folder.error();
  auto names = namesIn(std::move(*folder));
  if (!names) return names.error();
  found_ += names->folders.size() + names->others.size();
  levels_.push_back({path, std::move(names->others), std::move(names->folders)});
  return 0;
}

int LocalTreeCopy::copyEntry(const std::string& path) {
  const auto split = splitPath(source(path));
  const auto newSplit = splitPath(target(path));
  const auto from = root_.openFolder(split.folder, O_RDONLY);
  const auto to = root_.openFolder(newSplit.folder, O_RDONLY);
  if (!from || !to) return from ? to.error() : from.error();
  struct stat status {};
  if (::fstatat(from->get(), split.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return errno;
  if (!S_ISREG(status.st_mode)) {
    ++done_;
    return copySpecial(from->get(), split.name, status, to->get(), newSplit.name);
  }
  constexpr int kRead = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  constexpr int kWrite = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  UniqueDescriptor source(::openat(from->get(), split.name.c_str(), kRead));
  if (!source) return errno;
  UniqueDescriptor copy(::openat(to->get(), newSplit.name.c_str(), kWrite, 0600));
  if (!copy) return errno;
  auto before = LocalStat(from->get()).opened(split.name, source.get());
  file_.emplace(path, std::move(source), std::move(copy), 0, std::move(before));
  return 0;
}

int LocalTreeCopy::copyFilePiece() {
  auto& file = *file_;
  const auto wanted = std::min(kCopyPiece, file.before.stat.size - file.copied);
  const auto count = copyStretch(file.from.get(), file.to.get(), file.copied, wanted);
  if (!count) return count.error();
  file.copied += *count;
  if (*count == wanted && file.copied < file.before.stat.size) return 0;
  const auto after = to_.entry(file.from.get());
  if (*count < wanted || !isSameVersion(file.before.stat, after.stat)) return EBUSY;
  adoptAttributes(file.from.get(), file.to.get());
  copyDate(file.from.get(), file.to.get());
  if (::fsync(file.to.get()) != 0) return errno;
  file_.reset();
  ++done_;
  return 0;
}

int LocalTreeCopy::leave() {
  const auto path = levels_.back().path;
  const auto from = root_.openFolder(source(path), O_RDONLY);
  const auto to = root_.openFolder(target(path), O_RDONLY);
  if (!from || !to) return from ? to.error() : from.error();
  adoptAttributes(from->get(), to->get());
  copyDate(from->get(), to->get());
  levels_.pop_back();
  ++done_;
  return 0;
}

int LocalTreeCopy::show() {
  int code = 0;
  const int folder = to_.folder.get();
  if (temporary_) {
    code = renameWithoutReplacing(folder, temporary_->name(), folder, to_.name);
  } else {
    const auto split = splitPath(from_);
    const auto from = root_.openFolder(split.folder, O_RDONLY);
    if (!from) return from.error();
    struct stat status {};
    if (::fstatat(from->get(), split.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return errno;
    code = copySpecial(from->get(), split.name, status, folder, to_.name);
  }
  if (code != 0) return code;
  if (temporary_) temporary_->release();
  shown_ = true;
  ::fsync(folder);
  const auto item = to_.look();
  if (item) result_ = to_.entry(item->get());
  return 0;
}

}  // namespace zelto
