#include "hostapp/HostParts.h"

#include "hostapp/TransferFile.h"

namespace zelto {

namespace {

constexpr std::size_t kThreads = 4;
constexpr std::size_t kDownloadThreads = 2;

}  // namespace

std::shared_ptr<HostParts> HostParts::make(Given given) {
  prepareTransferFolder(given.transferFolder);
  auto parts = std::make_shared<HostParts>();
  auto& p = *parts;
  p.backend = given.backend;
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
  return parts;
}

void HostParts::stop() {
  pool->stop();
  watcher->stop();
}

}  // namespace zelto
