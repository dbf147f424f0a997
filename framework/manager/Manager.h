#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "framework/changes/ChangePump.h"
#include "framework/fetching/Materialiser.h"
#include "framework/listing/PathResolver.h"
#include "framework/requests/HostLink.h"
#include "framework/volume/Volume.h"
#include "platform/bus/SessionBus.h"

namespace zelto {

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
  };

  // `shutDown` is called when somebody asks the process to end.
  Manager(Parts parts, std::shared_ptr<SessionBus> bus, std::function<void()> shutDown);

  // Exports the object and takes the name. ERRORS: the name is taken by another process.
  std::optional<NSError> start();

  // Tells whoever listens that something is another than before ("host", "changes").
  void stateChanged(const std::string& what);

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
  void shutdown(BusMethodCall call, BusReply reply);

  // The part of a path below the mount point. ERRORS: a path elsewhere.
  std::expected<std::string, NSError> relativePath(const std::string& path) const;
  std::expected<NodeInfo, NSError> knownNode(const BusMethodCall& call) const;
  void watchPeer(const std::string& peer);
  void startFetch(std::uint64_t ticket, Inode inode);
  void fetchProgress(std::uint64_t ticket, std::uint64_t completed, std::uint64_t total, bool finished,
                     const std::string& error);

  const Parts parts_;
  const std::shared_ptr<SessionBus> bus_;
  const std::function<void()> shutDown_;
  PathResolver resolver_;
  std::atomic<std::uint64_t> nextTicket_ = 1;
  std::mutex mutex_;
  std::shared_ptr<void> peerWatch_;
};

}  // namespace zelto
