#include "hostapp/FolderWatcher.h"

#include <algorithm>

#include <pthread.h>

namespace zelto {

namespace {

using std::chrono::milliseconds;

// A change is reported once nothing has happened for the short time, at the latest after the long one.
constexpr milliseconds kQuiet{40};
constexpr milliseconds kLinger{5};
constexpr milliseconds kLongest{200};
constexpr std::size_t kMostEvents = 100'000;
constexpr std::size_t kMostNames = 1'000;

}  // namespace

FolderWatcher::FolderWatcher(std::shared_ptr<ServerBackend> backend, std::shared_ptr<HostStore> store,
                             Changed changed, Log log, milliseconds lookInterval)
    : backend_(std::move(backend)),
      store_(std::move(store)),
      changed_(std::move(changed)),
      log_(std::move(log)),
      lookInterval_(lookInterval) {
  backend_->setChangeHandler([this](FolderEvent event) { onEvent(std::move(event)); });
  thread_ = std::thread([this] { run(); });
}

void FolderWatcher::stop() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  if (!thread_.joinable()) return;
  thread_.join();
  backend_->setChangeHandler({});
  save();
}

void FolderWatcher::start() {
  post([this] {
    takeUp(store_->folders());
    processDirty();
    {
      const std::lock_guard lock(mutex_);
      looked_ = true;
    }
    wake_.notify_all();
  });
}

void FolderWatcher::waitForFirstLook(milliseconds limit) {
  std::unique_lock lock(mutex_);
  wake_.wait_for(lock, limit, [this] { return looked_ || stopping_; });
}

void FolderWatcher::onEvent(FolderEvent event) {
  {
    const std::lock_guard lock(mutex_);
    if (events_.size() >= kMostEvents) {
      events_.clear();
      event = {.folder = "", .name = "", .lost = true};
    }
    events_.push_back(std::move(event));
  }
  wake_.notify_all();
}

void FolderWatcher::post(std::move_only_function<void()> task) {
  bool first = false;
  {
    const std::lock_guard lock(mutex_);
    first = tasks_.empty();
    tasks_.push_back(std::move(task));
  }
  if (first) wake_.notify_all();
}

FolderWatcher::Listing FolderWatcher::beginListing(const std::string& folder, const std::string& view) {
  Listing listing{folder, view};
  {
    const std::lock_guard lock(mutex_);
    ++listingsUnderWay_[folder];
    listing.number = ++lastListing_;
  }
  listing.watched = backend_->watch(folder);
  return listing;
}

void FolderWatcher::finishListing(const Listing& listing,
                                  const std::expected<BackendListing, NSError>& found) {
  auto seen = seenIn(listing.folder, found);
  if (seen) remember(listing, *seen);
  post([this, listing, ended = std::move(seen)]() mutable { observed(listing, std::move(ended)); });
}

void FolderWatcher::watchUnlisted(const std::string& folder) {
  const auto listing = beginListing(folder, std::string(kNoView));
  finishListing(listing, backend_->list(folder));
}

void FolderWatcher::rescan(const std::string& folder) {
  post([this, folder] { markDirty(folder, ""); });
}

void FolderWatcher::rescanAll() {
  post([this] { markAllDirty(); });
}

void FolderWatcher::dropView(const std::string& view) {
  post([this, view] {
    for (const auto& folder : known_.dropView(view)) forget(folder);
  });
}

FolderWatcher::Counts FolderWatcher::counts() {
  const std::lock_guard lock(mutex_);
  return counts_;
}

void FolderWatcher::run() {
  ::pthread_setname_np(::pthread_self(), "host.watcher");
  while (waitForWork()) {
    takeWork();
    const auto now = Clock::now();
    if (now >= nextLook_) markAllDirty();
    if (!dirty_.empty() && (now >= lastDirty_ + kQuiet || now >= firstDirty_ + kLongest)) processDirty();
    if (now >= saveAt_) save();
    const std::lock_guard lock(mutex_);
    counts_.folders = known_.size();
    counts_.unwatched = complained_ ? known_.unwatched() : 0;
  }
}

FolderWatcher::Clock::time_point FolderWatcher::nextDeadline() const {
  auto deadline = std::min(nextLook_, saveAt_);
  if (!dirty_.empty()) deadline = std::min({deadline, lastDirty_ + kQuiet, firstDirty_ + kLongest});
  return deadline;
}

// False when it is time to end.
bool FolderWatcher::waitForWork() {
  std::unique_lock lock(mutex_);
  const auto work = [this] { return stopping_ || !events_.empty() || !tasks_.empty(); };
  const auto deadline = nextDeadline();
  if (deadline == Clock::time_point::max()) {
    wake_.wait(lock, work);
  } else {
    wake_.wait_until(lock, deadline, work);
  }
  // Listings and events come in bursts: one turn for each burst.
  wake_.wait_for(lock, kLinger, [this] { return stopping_; });
  return !stopping_;
}

void FolderWatcher::takeWork() {
  std::vector<FolderEvent> events;
  std::deque<std::move_only_function<void()>> tasks;
  {
    const std::lock_guard lock(mutex_);
    events.swap(events_);
    tasks.swap(tasks_);
  }
  for (auto& event : events) {
    if (event.lost) {
      markAllDirty();
    } else {
      markDirty(event.folder, event.name);
    }
  }
  for (auto& task : tasks) task();
}

void FolderWatcher::markDirty(const std::string& folder, const std::string& name) {
  const auto now = Clock::now();
  if (dirty_.empty()) firstDirty_ = now;
  lastDirty_ = now;
  auto& dirty = dirty_[folder];
  if (dirty.all) return;
  dirty.all = name.empty() || dirty.names.size() >= kMostNames;
  if (!dirty.all) dirty.names.insert(name);
}

void FolderWatcher::markAllDirty() {
  for (const auto& folder : known_.paths()) markDirty(folder, "");
  nextLook_ = Clock::time_point::max();
}

}  // namespace zelto
