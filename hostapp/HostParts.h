#pragma once

#include <functional>
#include <memory>
#include <string>

#include "hostapp/CallCounters.h"
#include "hostapp/ChangeJournal.h"
#include "hostapp/ChangePublisher.h"
#include "hostapp/Downloads.h"
#include "hostapp/FolderWatcher.h"
#include "hostapp/HostModeState.h"
#include "hostapp/HostStore.h"
#include "hostapp/ItemActions.h"
#include "hostapp/ItemResolver.h"
#include "hostapp/Listings.h"
#include "hostapp/LogFile.h"
#include "hostapp/MarkActions.h"
#include "hostapp/MarkedItems.h"
#include "hostapp/ServerBackend.h"
#include "hostapp/Thumbnails.h"
#include "hostapp/ToldEntries.h"
#include "hostapp/WorkRunner.h"
#include "hostapp/WorkerPool.h"

namespace zelto {

// The parts of one host that carry out requests, put together; the services of all connections share
// them.
struct HostParts {
  std::shared_ptr<ServerBackend> backend;
  std::shared_ptr<HostStore> store;
  std::shared_ptr<LogFile> log;
  std::function<void()> signalChanges;

  std::shared_ptr<MarkedItems> markedItems;
  std::shared_ptr<HostModeState> mode;
  std::shared_ptr<CallCounters> counters;
  std::shared_ptr<WorkerPool> pool;
  std::shared_ptr<ChangeJournal> journal;
  std::shared_ptr<ItemResolver> resolver;
  std::shared_ptr<ChangePublisher> publisher;
  std::shared_ptr<FolderWatcher> watcher;
  std::shared_ptr<Listings> listings;
  std::shared_ptr<MarkActions> marks;
  std::shared_ptr<Checkouts> checkouts;  // null: the server keeps none
  std::shared_ptr<Notices> notices;
  std::shared_ptr<ItemActions> actions;
  std::shared_ptr<Thumbnails> thumbnails;
  std::shared_ptr<Downloads> downloads;
  std::shared_ptr<WorkRunner> work;
  std::shared_ptr<ToldEntries> told;
  std::string transferFolder;  // this host's own folder in the group directory

  struct Given {
    std::shared_ptr<ServerBackend> backend;
    std::shared_ptr<HostStore> store;
    std::shared_ptr<LogFile> log;
    ContainerNames names;
    // Made where it is missing. What lies there at the start was left behind by an earlier run.
    std::string transferFolder;
    // The journal holds changes. May be called on any thread, until `stop` has returned.
    std::function<void()> signalChanges;
    std::string user{};  // who checks out; "": the login name
    bool mayManageCheckouts = false;
    OfficeTemplates office{};
    std::string openCommand = "xdg-open";
    Notices::Send notify{};
    std::string thumbnailFolder{};  // "": none are kept
    ThumbnailLimits thumbnailLimits{};
  };
  static std::shared_ptr<HostParts> make(Given given);

  // This host has moved or removed an item: what it keeps for it follows.
  void itemMoved(const std::string& from, const std::string& to) const;
  void itemRemoved(const std::string& path) const;

  // BLOCKS: until nothing is being done any more. The parts stay, idle.
  void stop();
};

}  // namespace zelto
