#include "framework/notices/NoticeThread.h"

#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <linux/close_range.h>
#include <linux/openat2.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace zelto {
namespace {

// Of the thread's own table. Opened and closed past the library, where the thread sanitizer would take the
// numbers for the process's.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) ::syscall(SYS_close, number_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  operator int() const { return number_; }

 private:
  const int number_;
};

int openFolder(const std::string& path) {
  constexpr int kFlags = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
  return static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path.c_str(), kFlags));
}

// What stands there itself: neither what a link leads to nor what somebody mounted there.
int openEntry(int folder, const std::string& name) {
  open_how how{};
  how.flags = O_PATH | O_NOFOLLOW | O_CLOEXEC;
  how.resolve = RESOLVE_NO_XDEV | RESOLVE_NO_SYMLINKS | RESOLVE_BENEATH;
  return static_cast<int>(::syscall(SYS_openat2, folder, name.c_str(), &how, sizeof how));
}

void make(int folder, const Notice& notice) {
  const char* const name = notice.place.name.c_str();
  constexpr mode_t kMode = S_IRUSR | S_IWUSR;
  if (notice.node == NodeKind::folder) {
    ::mkdirat(folder, name, kMode | S_IXUSR);
  } else if (notice.node == NodeKind::symlink) {
    static_cast<void>(::symlinkat("-", folder, name) == 0);
  } else {
    ::mknodat(folder, name, S_IFREG | kMode, 0);
  }
}

// Sets dates, which the volume leaves as they are. Both dates make an event of attributes, the one alone one
// of content.
void touch(int folder, const Notice& notice) {
  const Descriptor entry(openEntry(folder, notice.place.name));
  if (entry < 0) return;
  const std::timespec some{0, 0};
  const std::timespec none{0, UTIME_OMIT};
  const std::timespec dates[] = {notice.kind == Notice::Kind::content ? none : some, some};
  ::utimensat(entry, "", dates, AT_EMPTY_PATH);
}

}  // namespace

NoticeThread::~NoticeThread() {
  stop([] {});
  changed_.notify_all();
  if (thread_.joinable()) thread_.join();
}

bool NoticeThread::busy() const {
  const std::lock_guard lock(mutex_);
  return busy_;
}

void NoticeThread::perform(NoticeRound round) {
  const std::lock_guard lock(mutex_);
  waiting_ = std::move(round);
  busy_ = true;
  if (!thread_.joinable()) {
    thread_ = std::thread([this] { run(); });
    ::pthread_setname_np(thread_.native_handle(), "notices");
  }
  changed_.notify_all();
}

void NoticeThread::waitUntilIdle(std::chrono::milliseconds limit) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, limit, [this] { return !busy_; });
}

void NoticeThread::stop(std::function<void()> then) {
  {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    if (busy_) return whenStopped_.push_back(std::move(then));
  }
  then();
}

void NoticeThread::run() {
  // The process's descriptors are not even copied: closing a copy of one would be heard of by its file.
  const bool alone = ::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_UNSHARE) == 0;
  expected_.setThread(::gettid());
  while (const auto round = next()) {
    if (alone) performRound(*round);
    endRound();
  }
}

std::optional<NoticeRound> NoticeThread::next() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return waiting_ || (stopped_ && !busy_); });
  return std::exchange(waiting_, std::nullopt);
}

void NoticeThread::endRound() {
  std::vector<std::function<void()>> stopped;
  {
    const std::lock_guard lock(mutex_);
    busy_ = false;
    stopped.swap(whenStopped_);
  }
  changed_.notify_all();
  for (const auto& then : stopped) then();
  finished_();
}

// No descriptor of a folder is kept from round to round: it would keep the volume from being unmounted.
void NoticeThread::performRound(const NoticeRound& round) {
  if (stopped_) return;
  const Descriptor folder(openFolder(round.path));
  if (folder < 0 || !isOurs(folder, round.folder)) return;
  if (round.fromFolder == 0) return performIn({folder, folder}, round);
  const Descriptor from(openFolder(round.fromPath));
  if (from >= 0 && isOurs(from, round.fromFolder)) performIn({folder, from}, round);
}

void NoticeThread::performIn(const Folders& folders, const NoticeRound& round) {
  for (const Notice& notice : round.notices) tell(folders, notice);
}

// Something else may be mounted there by now, or the volume be gone and what lies below show: only the folder
// that the volume itself answers for may be touched.
bool NoticeThread::isOurs(int descriptor, Inode folder) {
  expected_.begin({.kind = Notice::Kind::hello, .place = {folder, ExpectedNotice::kHelloName}, .from = {}});
  struct stat ignored {};
  static_cast<void>(::fstatat(descriptor, ExpectedNotice::kHelloName, &ignored, AT_SYMLINK_NOFOLLOW));
  return expected_.end();
}

// What has moved on already is told as gone and come: where it is by now is told next.
void NoticeThread::move(const Folders& folders, const Notice& notice) {
  const char* const name = notice.place.name.c_str();
  if (::renameat2(folders.from, notice.from.name.c_str(), folders.folder, name, RENAME_NOREPLACE) == 0)
    return;
  Notice step = notice;
  step.kind = Notice::Kind::gone;
  step.place = notice.from;
  tell({folders.from, folders.from}, step);
  step.kind = Notice::Kind::appeared;
  step.place = notice.place;
  tell(folders, step);
}

void NoticeThread::tell(const Folders& folders, const Notice& notice) {
  if (stopped_) return;
  expected_.begin(notice);
  raise(folders, notice);
  expected_.end();
}

// What fails raises no event, which is all that it was for.
void NoticeThread::raise(const Folders& folders, const Notice& notice) {
  const char* const name = notice.place.name.c_str();
  switch (notice.kind) {
    case Notice::Kind::hello:
      return;
    case Notice::Kind::appeared:
      return make(folders.folder, notice);
    case Notice::Kind::gone:
      ::unlinkat(folders.folder, name, notice.node == NodeKind::folder ? AT_REMOVEDIR : 0);
      return;
    case Notice::Kind::moved:
      return move(folders, notice);
    case Notice::Kind::content:
    case Notice::Kind::attributes:
      return touch(folders.folder, notice);
  }
}

}  // namespace zelto
