#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_set>
#include <vector>

#include "framework/actions/ActionCatalogue.h"
#include "framework/changes/ChangePump.h"
#include "framework/fetching/Materialiser.h"
#include "framework/importing/Importer.h"
#include "framework/listing/PathResolver.h"
#include "framework/manager/ChangedFolders.h"
#include "framework/manager/ThumbnailAskers.h"
#include "framework/propagation/Propagator.h"
#include "framework/requests/HostLink.h"
#include "framework/thumbnails/ThumbnailQueue.h"
#include "framework/volume/Volume.h"
#include "platform/bus/SessionBus.h"

namespace zelto {

class ListenerAcceptance;

// The domain's manager on the session bus, under the names of platform/bus/ManagerInterface.h.
// THREAD: calls arrive on the bus thread; everything that may take longer is answered from elsewhere.
class Manager {
 public:
  struct Parts {
    NSFileProviderDomain domain;
    NSFileProviderPrincipal& extension;
    HostLink& link;
    ChangePump& pump;
    Volume& volume;
    Propagator& propagator;
    Deadlines& deadlines;
    const ActionCatalogue& catalogue;
    std::shared_ptr<ThumbnailQueue> thumbnails;
    std::string importFolder;  // what imports may use
  };

  // `shutDown` is called when somebody asks the process to end.
  Manager(Parts parts, std::shared_ptr<SessionBus> bus, std::function<void()> shutDown);

  // Exports the object and takes the name. ERRORS: the name is taken by another process.
  std::optional<NSError> start();

  // Tells whoever listens that something is another than before ("host", "changes").
  void stateChanged(const std::string& what);
  // The host's picture of a file, for somebody who wants to make one, on that thread; nothing where there is
  // none. It is asked for as long as that process runs; for one that asks by `Thumbnails` itself, only what
  // it has asked for.
  void fetchPicture(Inode inode, pid_t reader, Volume::PictureHandler done);
  // What the replica learnt, for those who show items.
  void itemsChanged(const ReplicaDelta& delta);
  // The same of local changes; paths are relative to the mount point.
  void pendingChanged(const Propagator::Counts& counts);
  void uploadProgress(const std::string& path, std::int64_t completed, std::int64_t total);
  void conflict(const std::string& path, const std::string& message);

 private:
  BusMethod method(const char* name, const char* in, const char* out,
                   void (Manager::*handler)(BusMethodCall, BusReply));

  void serviceEndpoint(BusMethodCall call, BusReply reply);
  void signalEnumerator(BusMethodCall call, BusReply reply);
  void status(BusMethodCall call, BusReply reply);
  void item(BusMethodCall call, BusReply reply);
  void list(BusMethodCall call, BusReply reply);
  void fetch(BusMethodCall call, BusReply reply);
  void evict(BusMethodCall call, BusReply reply);
  void pending(BusMethodCall call, BusReply reply);
  void wait(BusMethodCall call, BusReply reply);
  void retry(BusMethodCall call, BusReply reply);
  void cancel(BusMethodCall call, BusReply reply);
  void importFolder(BusMethodCall call, BusReply reply);
  void cancelImport(BusMethodCall call, BusReply reply);
  void shutdown(BusMethodCall call, BusReply reply);

  // ---- ManagerActions.cpp
  void allActions(BusMethodCall call, BusReply reply);
  void actions(BusMethodCall call, BusReply reply);
  void perform(BusMethodCall call, BusReply reply);
  void decorations(BusMethodCall call, BusReply reply);
  void itemStates(BusMethodCall call, BusReply reply);
  void folderStates(BusMethodCall call, BusReply reply);
  // ERRORS: that of the first which is not known.
  std::expected<std::vector<NodeInfo>, NSError> knownNodes(const std::vector<BusBytes>& paths) const;
  std::vector<ItemAction> offeredFor(const std::vector<NodeInfo>& nodes) const;
  std::optional<NSError> reasonAgainst(const std::string& action, const std::vector<NodeInfo>& nodes) const;
  void pendingFoldersChanged();
  void tellOfItems(const std::vector<Inode>& items);
  // ---- ManagerThumbnails.cpp
  void thumbnails(BusMethodCall call, BusReply reply);

  // "" for a node that is not known any more.
  std::string pathOf(Inode folder) const;

  // The part of a path below the mount point. ERRORS: a path elsewhere.
  std::expected<std::string, NSError> relativePath(const std::string& path) const;
  std::expected<NodeInfo, NSError> knownNode(const std::string& path) const;
  // The local change of what stands at a path, or stood there. ERRORS: ENOENT for none.
  std::expected<Inode, NSError> changeAt(const std::string& path) const;
  std::string absolutePath(const std::string& relative) const;
  PropertyListValue describe(const std::vector<PendingChange>& changes) const;
  void emit(const char* signal, const char* signature, BusArguments arguments);
  std::optional<NSError> checkSource(const std::string& source) const;
  std::optional<NSError> checkDestination(Inode inode, const std::string& path) const;
  void imported(std::uint64_t ticket, Inode folder, const ImportReport& report);
  void importProgress(std::uint64_t ticket, const ImportReport& report);
  void watchPeer(const std::string& peer);
  void awaitConnection(const std::string& peer);
  void startFetch(std::uint64_t ticket, Inode inode);
  void fetchProgress(std::uint64_t ticket, std::uint64_t completed, std::uint64_t total, bool finished,
                     const std::string& error);

  const Parts parts_;
  const std::shared_ptr<SessionBus> bus_;
  const std::function<void()> shutDown_;
  PathResolver resolver_;
  Importer importer_;
  const std::shared_ptr<ChangedFolders> changedItems_;
  std::atomic<std::uint64_t> nextTicket_ = 1;
  std::mutex mutex_;
  std::shared_ptr<void> peerWatch_;
  std::string peer_;  // who took the last endpoint
  std::shared_ptr<ListenerAcceptance> acceptance_;
  std::vector<Inode> pendingItems_;  // with local changes when it was last told of them
  ThumbnailAskers askers_;
};

}  // namespace zelto
