#include "hostapp/LocalShareRecords.h"

#include <cerrno>
#include <chrono>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include "hostapp/BackendErrors.h"
#include "hostapp/RenameAtomically.h"
#include "hostapp/ReservedName.h"
#include "hostapp/ServerPaths.h"
#include "hostapp/TemporaryName.h"

namespace zelto {

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds kLongestWait{2};
constexpr std::chrono::milliseconds kPause{2};
constexpr std::size_t kMostBytes = 8 << 20;
constexpr const char* kFile = "table.json";
constexpr const char* kNewFile = "table.json.new";
constexpr std::uint32_t kEvents =
    IN_CREATE | IN_MOVED_TO | IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR | IN_EXCL_UNLINK;

std::string folderOf(const std::string& share) { return joinedPath(share, kRecordFolderName); }

std::string versionOf(const struct stat& status) {
  return fmt::format("{}:{}:{}.{}:{}.{}", status.st_ino, status.st_size, status.st_mtim.tv_sec,
                     status.st_mtim.tv_nsec, status.st_ctim.tv_sec, status.st_ctim.tv_nsec);
}

std::expected<std::string, int> contentOf(int descriptor) {
  std::string text;
  std::vector<char> piece(64 << 10);
  for (;;) {
    const ssize_t count = ::read(descriptor, piece.data(), piece.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::unexpected(errno);
    if (count == 0) return text;
    text.append(piece.data(), static_cast<std::size_t>(count));
    if (text.size() > kMostBytes) return std::unexpected(EFBIG);
  }
}

bool writeAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(descriptor, text.data(), text.size());
    if (count < 0 && errno != EINTR) return false;
    if (count > 0) text.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

// Whoever may read and write in the model may do so with what is made beside or in it.
void openTo(int made, int model, mode_t mask) {
  struct stat status {};
  if (::fstat(model, &status) != 0) return;
  // Another group than this user's own is not for everybody to give; the bits count for it then, too.
  if (::fchown(made, static_cast<uid_t>(-1), status.st_gid) != 0) errno = 0;
  ::fchmod(made, status.st_mode & mask);
}

// 0 or the errno value.
int lockUntil(int descriptor, int kind, Clock::time_point until) {
  while (::flock(descriptor, kind | LOCK_NB) != 0) {
    if (errno == EINTR) continue;
    if (errno != EWOULDBLOCK) return errno;
    if (Clock::now() > until) return EBUSY;
    std::this_thread::sleep_for(kPause);
  }
  return 0;
}

class LocalLock : public ShareRecords::Lock {
 public:
  LocalLock(std::string share, UniqueDescriptor folder)
      : share_(std::move(share)), folder_(std::move(folder)) {}

  std::optional<NSError> replace(const std::string& text) override {
    // Only one writes at a time; what a killed host has left under this name is written over.
    ::unlinkat(folder_.get(), kNewFile, 0);
    const UniqueDescriptor file(
        ::openat(folder_.get(), kNewFile, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file) return writeError(errno, share_);
    openTo(file.get(), folder_.get(), 0666);
    const bool written = writeAll(file.get(), text) && ::fsync(file.get()) == 0 &&
                         ::renameat(folder_.get(), kNewFile, folder_.get(), kFile) == 0;
    return written ? std::nullopt : std::optional(writeError(errno, share_));
  }

 private:
  const std::string share_;
  const UniqueDescriptor folder_;  // carries the lock
};

}  // namespace

std::string LocalShareRecords::version(const std::string& share) {
  const auto folder = root_.openFolder(folderOf(share), O_PATH);
  watch(share, folder ? folder->get() : -1);
  struct stat status {};
  if (!folder || ::fstatat(folder->get(), kFile, &status, AT_SYMLINK_NOFOLLOW) != 0) return "";
  return versionOf(status);
}

std::expected<ShareRecords::Text, NSError> LocalShareRecords::read(const std::string& share) {
  const auto path = joinedPath(folderOf(share), kFile);
  const auto file = root_.openFile(path, O_RDONLY);
  if (!file && file.error() == ENOENT) return Text();
  struct stat status {};
  if (!file || ::fstat(file->get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return std::unexpected(backendError(file ? EINVAL : file.error(), path));
  }
  auto text = contentOf(file->get());
  if (!text) return std::unexpected(backendError(text.error(), path));
  return Text{versionOf(status), std::move(*text)};
}

// It shows when it is ready, and only once.
std::expected<UniqueDescriptor, int> LocalShareRecords::makeFolder(const std::string& share) {
  const auto folder = root_.openFolder(share, O_RDONLY);
  if (!folder) return std::unexpected(folder.error());
  const auto made = TemporaryEntry::makeFolder(folder->get());
  if (!made) return std::unexpected(made.error());
  openTo(made->descriptor(), folder->get(), 0777);
  const std::string name(kRecordFolderName);
  int code = renameWithoutReplacing(folder->get(), made->name(), folder->get(), name);
  // A file system without that kind of rename: only an empty folder is replaced.
  if (code == EINVAL) code = renameReplacing(folder->get(), made->name(), folder->get(), name);
  if (code != 0) ::unlinkat(folder->get(), made->name().c_str(), AT_REMOVEDIR);
  if (code != 0 && code != EEXIST && code != ENOTEMPTY) return std::unexpected(code);
  return root_.openFolder(folderOf(share), O_RDONLY);
}

std::expected<std::unique_ptr<ShareRecords::Lock>, NSError> LocalShareRecords::lock(const std::string& share,
                                                                                    Access access) {
  const auto until = Clock::now() + kLongestWait;
  for (;;) {
    auto folder = root_.openFolder(folderOf(share), O_RDONLY);
    const bool missing = !folder && folder.error() == ENOENT;
    if (missing && access == Access::shared) return nullptr;
    if (missing) folder = makeFolder(share);
    if (!folder) return std::unexpected(writeError(folder.error(), share));
    const int code = lockUntil(folder->get(), access == Access::shared ? LOCK_SH : LOCK_EX, until);
    if (code != 0) return std::unexpected(writeError(code, share));
    // Somebody may have tidied up meanwhile.
    struct stat status {};
    if (::fstat(folder->get(), &status) == 0 && status.st_nlink > 0) {
      return std::make_unique<LocalLock>(share, std::move(*folder));
    }
  }
}

void LocalShareRecords::setChangeHandler(std::function<void(const std::string& share)> handler) {
  std::unique_ptr<InotifyWatch> ended;
  auto begun =
      handler ? std::make_unique<InotifyWatch>([this](const FolderEvent& event) { onEvent(event); }, kEvents)
              : nullptr;
  const std::lock_guard lock(mutex_);
  ended = std::exchange(watch_, std::move(begun));
  handler_ = std::move(handler);
  watched_.clear();
}

// The folder of the texts, or, until there is one, the share, which shows when it is made.
void LocalShareRecords::watch(const std::string& share, int records) {
  struct stat status {};
  const ino_t folder = records >= 0 && ::fstat(records, &status) == 0 ? status.st_ino : 0;
  const std::lock_guard lock(mutex_);
  if (!watch_) return;
  const auto known = watched_.find(share);
  if (known != watched_.end() && known->second == folder) return;
  if (records >= 0) {
    if (!watch_->add(folderOf(share), records)) return;
    watch_->remove(share);
  } else {
    const auto root = root_.openFolder(share, O_PATH);
    if (!root || !watch_->add(share, root->get())) return;
  }
  watched_[share] = folder;
}

void LocalShareRecords::onEvent(const FolderEvent& event) {
  std::vector<std::string> shares;
  std::function<void(const std::string&)> handler;
  {
    const std::lock_guard lock(mutex_);
    handler = handler_;
    if (event.lost) {
      for (const auto& [share, folder] : watched_) shares.push_back(share);
    } else {
      const auto split = splitPath(event.folder);
      const bool inShare = split.folder.empty();
      if (inShare && !event.name.empty() && !isReservedName(event.name)) return;
      shares.push_back(inShare ? split.name : split.folder);
      // The folder itself has gone or moved: what is there now is watched at the next look.
      if (event.name.empty()) watched_.erase(shares.front());
    }
  }
  if (!handler) return;
  for (const auto& share : shares) handler(share);
}

}  // namespace zelto
