#include "hostapp/HostParts.h"

#include <array>

#include <pwd.h>
#include <unistd.h>

#include "hostapp/CheckoutBackend.h"
#include "hostapp/TransferFile.h"

namespace zelto {

namespace {

constexpr std::size_t kThreads = 4;
constexpr std::size_t kDownloadThreads = 2;

std::string loginName() {
  passwd entry{};
  passwd* found = nullptr;
  std::array<char, 16384> buffer{};
  ::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found);
  return found != nullptr && isUserName(found->pw_name) ? found->pw_name
                                                        : "user " + std::to_string(::geteuid());
}

}  // namespace

std::shared_ptr<HostParts> HostParts::make(Given given) {
  prepareTransferFolder(given.transferFolder);
  auto parts = std::make_shared<HostParts>();
  auto& p = *parts;
  p.backend = given.backend;
  if (const auto records = given.backend->records()) {
    auto user = given.user.empty() ? loginName() : given.user;
    p.checkouts =
        std::make_shared<Checkouts>(given.backend, records, std::move(user), given.mayManageCheckouts);
    p.backend = std::make_shared<CheckoutBackend>(given.backend, p.checkouts);
  }
  p.store = given.store;
  p.log = given.log;
  p.signalChanges = std::move(given.signalChanges);
  p.transferFolder = given.transferFolder;
  p.markedItems = std::make_shared<MarkedItems>(p.store);
  p.mode = std::make_shared<HostModeState>(std::move(given.names), p.store->mode().value_or(HostMode()));
  p.counters = std::make_shared<CallCounters>();
  p.pool = std::make_shared<WorkerPool>(kThreads, kDownloadThreads);
  p.journal = std::make_shared<ChangeJournal>(p.store);
  p.resolver = std::make_shared<ItemResolver>(p.backend, p.markedItems, p.mode);
  p.publisher =
      std::make_shared<ChangePublisher>(p.resolver, p.markedItems, p.mode, p.journal, p.signalChanges);
  p.watcher = std::make_shared<FolderWatcher>(
      p.backend, p.store,
      [publisher = p.publisher](const std::vector<PathChange>& changes) { publisher->pathsChanged(changes); },
      [log = p.log](const std::string& line) { log->warn(line); });
  p.listings = std::make_shared<Listings>(
      Listings::Parts{p.backend, p.markedItems, p.mode, p.resolver, p.watcher, p.log});
  p.marks = std::make_shared<MarkActions>(p.backend, p.markedItems, p.resolver, p.publisher, p.watcher);
  p.downloads =
      std::make_shared<Downloads>(Downloads::Parts{p.backend, p.counters, p.pool.get(), p.transferFolder});
  p.work = std::make_shared<WorkRunner>(p.pool.get());
  p.told = std::make_shared<ToldEntries>();
  p.thumbnails = std::make_shared<Thumbnails>(Thumbnails::Parts{
      p.backend, p.pool.get(), std::make_shared<ThumbnailCache>(std::move(given.thumbnailFolder)),
      given.thumbnailLimits});
  p.notices = std::make_shared<Notices>(std::move(given.notify));
  p.actions = std::make_shared<ItemActions>(
      ItemActions::Parts{p.backend, p.resolver, p.checkouts, p.store, p.notices,
                         std::make_shared<UrlOpener>(given.openCommand), p.log, std::move(given.office)});
  return parts;
}

void HostParts::itemMoved(const std::string& from, const std::string& to) const {
  marks->itemMoved(from, to);
  store->moveFields(from, to);
}

void HostParts::itemRemoved(const std::string& path) const {
  marks->itemRemoved(path);
  store->removeFields(path);
}

void HostParts::stop() {
  pool->stop();
  watcher->stop();
}

}  // namespace zelto
