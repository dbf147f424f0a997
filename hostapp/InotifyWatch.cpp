#include "hostapp/InotifyWatch.h"

#include <algorithm>
#include <array>
#include <cstring>

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>

namespace zelto {

namespace {

constexpr std::uint32_t kMask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_MODIFY | IN_ATTRIB |
                                IN_CLOSE_WRITE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR | IN_EXCL_UNLINK;
// After one batch the kernel gathers and merges further events for a moment, so that a busy folder does
// not wake the thread for each of them.
constexpr int kGatherMilliseconds = 15;

}  // namespace

InotifyWatch::InotifyWatch(std::function<void(FolderEvent)> handler, std::uint32_t events)
    : handler_(std::move(handler)),
      events_(events != 0 ? events : kMask),
      inotify_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)),
      stop_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (inotify_ && stop_) thread_ = std::thread([this] { run(); });
}

InotifyWatch::~InotifyWatch() {
  if (!thread_.joinable()) return;
  ::eventfd_write(stop_.get(), 1);
  thread_.join();
}

bool InotifyWatch::add(const std::string& folder, int descriptor) {
  if (!thread_.joinable()) return false;
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  // Under the lock, so that the first event finds its folder.
  const std::lock_guard lock(mutex_);
  const int watch = ::inotify_add_watch(inotify_.get(), link.c_str(), events_);
  if (watch < 0) return false;
  const auto known = watchByFolder_.find(folder);
  if (known != watchByFolder_.end() && known->second == watch) return true;
  if (known != watchByFolder_.end()) dropLocked(folder);
  watchByFolder_[folder] = watch;
  foldersByWatch_[watch].push_back(folder);
  return true;
}

void InotifyWatch::remove(const std::string& folder) {
  const std::lock_guard lock(mutex_);
  dropLocked(folder);
}

void InotifyWatch::dropLocked(const std::string& folder) {
  const auto known = watchByFolder_.find(folder);
  if (known == watchByFolder_.end()) return;
  const int watch = known->second;
  watchByFolder_.erase(known);
  auto& folders = foldersByWatch_[watch];
  std::erase(folders, folder);
  if (!folders.empty()) return;
  foldersByWatch_.erase(watch);
  ::inotify_rm_watch(inotify_.get(), watch);
}

void InotifyWatch::run() {
  ::pthread_setname_np(::pthread_self(), "host.inotify");
  std::array<pollfd, 2> waits{{{inotify_.get(), POLLIN, 0}, {stop_.get(), POLLIN, 0}}};
  for (;;) {
    if (::poll(waits.data(), waits.size(), -1) < 0) continue;
    if ((waits[1].revents & POLLIN) != 0) return;
    readEvents();
    if (::poll(&waits[1], 1, kGatherMilliseconds) > 0) return;
  }
}

void InotifyWatch::readEvents() {
  alignas(inotify_event) std::array<char, 65536> buffer;
  for (;;) {
    const ssize_t length = ::read(inotify_.get(), buffer.data(), buffer.size());
    if (length <= 0) return;
    for (ssize_t at = 0; at < length;) {
      const auto* event = reinterpret_cast<const inotify_event*>(buffer.data() + at);
      const std::string name = event->len > 0 ? event->name : "";
      deliver(event->wd, event->mask, name);
      at += static_cast<ssize_t>(sizeof(inotify_event)) + event->len;
    }
  }
}

void InotifyWatch::deliver(int watch, std::uint32_t mask, const std::string& name) {
  if ((mask & IN_Q_OVERFLOW) != 0) return handler_({.folder = "", .name = "", .lost = true});
  for (auto& folder : foldersOf(watch)) handler_({.folder = std::move(folder), .name = name});
  if ((mask & IN_IGNORED) == 0) return;
  // The kernel has dropped the watch with its folder.
  const std::lock_guard lock(mutex_);
  const auto dropped = foldersByWatch_.find(watch);
  if (dropped == foldersByWatch_.end()) return;
  for (const auto& folder : dropped->second) watchByFolder_.erase(folder);
  foldersByWatch_.erase(dropped);
}

std::vector<std::string> InotifyWatch::foldersOf(int watch) const {
  const std::lock_guard lock(mutex_);
  const auto known = foldersByWatch_.find(watch);
  return known == foldersByWatch_.end() ? std::vector<std::string>{} : known->second;
}

}  // namespace zelto
