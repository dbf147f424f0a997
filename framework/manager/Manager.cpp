#include "framework/manager/Manager.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "framework/fetching/FetchJob.h"
#include "framework/manager/Answers.h"
#include "framework/manager/ItemDescription.h"
#include "framework/requests/Errno.h"
#include "platform/bus/ManagerInterface.h"
#include "platform/messaging/ListenerAcceptance.h"
#include "platform/messaging/NSXPCConnection.h"

namespace zelto {
namespace {

// The endpoint of the named service among those that the extension offers.
std::expected<std::shared_ptr<NSXPCListenerEndpoint>, NSError> makeEndpoint(
    const std::vector<std::shared_ptr<NSFileProviderServiceSource>>& sources, const std::string& service) {
  for (const auto& source : sources) {
    if (source->serviceName() != service) continue;
    std::optional<NSError> error;
    if (auto endpoint = source->makeListenerEndpointAndReturnError(&error)) return endpoint;
    return std::unexpected(error.value_or(errorWithPOSIXCode(EIO, "the service has no endpoint")));
  }
  return std::unexpected(errorWithPOSIXCode(ENOENT, "no service named " + service));
}

}  // namespace

Manager::Manager(Parts parts, std::shared_ptr<SessionBus> bus, std::function<void()> shutDown)
    : parts_(std::move(parts)),
      bus_(std::move(bus)),
      shutDown_(std::move(shutDown)),
      resolver_(parts_.volume.replica(), parts_.volume.lister()),
      importer_(parts_.domain.identifier, parts_.importFolder),
      changedItems_(ChangedFolders::make(parts_.deadlines,
                                         [this](const std::vector<Inode>& items) { tellOfItems(items); })),
      askers_(bus_, [this](const std::string& asker) { parts_.thumbnails->askerGone(asker); }) {}

BusMethod Manager::method(const char* name, const char* in, const char* out,
                          void (Manager::*handler)(BusMethodCall, BusReply)) {
  return {name, in, out, [this, handler](BusMethodCall call, BusReply reply) {
            (this->*handler)(std::move(call), std::move(reply));
          }};
}

std::optional<NSError> Manager::start() {
  BusInterface interface;
  interface.name = manager::kInterface;
  interface.methods = {
      method("ServiceEndpoint", "ss", "h", &Manager::serviceEndpoint),
      method("SignalEnumerator", "s", "", &Manager::signalEnumerator),
      method("Status", "", "s", &Manager::status),
      method("Item", "ay", "s", &Manager::item),
      method("List", "ay", "s", &Manager::list),
      method("Fetch", "ay", "t", &Manager::fetch),
      method("Evict", "ay", "t", &Manager::evict),
      method("Pending", "", "s", &Manager::pending),
      method("Wait", "", "s", &Manager::wait),
      method("Retry", "ay", "", &Manager::retry),
      method("Cancel", "ay", "", &Manager::cancel),
      method("Import", "ayay", "t", &Manager::importFolder),
      method("CancelImport", "t", "", &Manager::cancelImport),
      method("AllActions", "", "s", &Manager::allActions),
      method("Actions", "aay", "s", &Manager::actions),
      method("Perform", "saay", "", &Manager::perform),
      method("Decorations", "", "s", &Manager::decorations),
      method("ItemStates", "aay", "s", &Manager::itemStates),
      method("FolderStates", "ay", "s", &Manager::folderStates),
      method("Thumbnails", "aay", "", &Manager::thumbnails),
      method("Shutdown", "", "", &Manager::shutdown),
  };
  interface.signals = {{"FetchProgress", "tttbs"}, {"StateChanged", "s"}, {"PendingChanged", "ttt"},
                       {"UploadProgress", "stt"},  {"Conflict", "ss"},    {"ImportProgress", "tttttbss"},
                       {"ItemsChanged", "aay"}};
  if (auto error = bus_->exportObject(manager::objectPath(parts_.domain.identifier), std::move(interface)))
    return error;
  return bus_->requestName(manager::busName(parts_.domain.identifier));
}

void Manager::serviceEndpoint(BusMethodCall call, BusReply reply) {
  const std::string peer = call.sender;
  parts_.extension.supportedServiceSourcesForItemIdentifier(
      stringArgument(call, 0), [this, peer, service = stringArgument(call, 1), reply = std::move(reply)](
                                   std::vector<std::shared_ptr<NSFileProviderServiceSource>> sources,
                                   std::optional<NSError> error) mutable {
        if (error) return reply(std::unexpected(*error));
        const auto endpoint = makeEndpoint(sources, service);
        if (!endpoint) return reply(std::unexpected(endpoint.error()));
        const int copy = ::fcntl((*endpoint)->descriptor(), F_DUPFD_CLOEXEC, 0);
        if (copy < 0) return reply(std::unexpected(systemError(errno, "cannot pass the endpoint on")));
        watchPeer(peer);
        {
          const std::lock_guard lock(mutex_);
          peer_ = peer;
          acceptance_ = (*endpoint)->acceptance();
        }
        parts_.link.endpointTaken(peer);
        reply(BusArguments{std::make_shared<UniqueDescriptor>(copy)});
      });
}

void Manager::watchPeer(const std::string& peer) {
  auto watch = bus_->watchName(peer, [this, peer](bool present) {
    if (!present) parts_.link.peerLeft(peer);
  });
  const std::lock_guard lock(mutex_);
  peerWatch_.swap(watch);
}

// A host signals as soon as it has connected, and the bus may be faster than the listener: what is asked
// before the extension has the connection is never answered.
void Manager::awaitConnection(const std::string& peer) {
  constexpr std::chrono::milliseconds kLongest{1000};
  std::shared_ptr<ListenerAcceptance> acceptance;
  {
    const std::lock_guard lock(mutex_);
    if (peer == peer_) acceptance = acceptance_;
  }
  if (acceptance) acceptance->wait(kLongest);
}

void Manager::signalEnumerator(BusMethodCall call, BusReply reply) {
  // The first signal of a host tells that it is ready, and being ready brings the changes by itself.
  const bool wasPresent = parts_.link.present();
  if (!wasPresent) awaitConnection(call.sender);
  parts_.link.ready(call.sender);
  if (wasPresent) parts_.pump.signal();
  reply(BusArguments{});
}

void Manager::status(BusMethodCall, BusReply reply) {
  const Replica::Counts counts = parts_.volume.replica().counts();
  const Propagator::Counts changes = parts_.propagator.counts();
  const auto number = [](std::uint64_t value) { return PropertyListValue(static_cast<std::int64_t>(value)); };
  replyJson(reply, NSDictionary{
                       {"domain", parts_.domain.identifier},
                       {"mountPoint", parts_.volume.mountPoint()},
                       {"pid", static_cast<std::int64_t>(::getpid())},
                       {"hostConnected", parts_.volume.lister().sending()},
                       {"items", number(counts.items)},
                       {"folders", number(counts.folders)},
                       {"materialisedFiles", number(counts.materialisedFiles)},
                       {"materialisedBytes", number(counts.materialisedBytes)},
                       {"requestsInFlight", number(parts_.volume.kernelRequests().inFlight())},
                       {"pending", number(changes.pending)},
                       {"uploading", number(changes.uploading)},
                       {"failed", number(changes.failed)},
                       {"conflicts", number(changes.conflicts)},
                   });
}

std::expected<std::string, NSError> Manager::relativePath(const std::string& path) const {
  const std::string& root = parts_.volume.mountPoint();
  if (path == root) return std::string();
  if (path.starts_with(root + "/")) return path.substr(root.size() + 1);
  return std::unexpected(errorWithPOSIXCode(EXDEV, path + " does not lie below " + root));
}

std::expected<NodeInfo, NSError> Manager::knownNode(const std::string& path) const {
  const auto relative = relativePath(path);
  if (!relative) return std::unexpected(relative.error());
  const auto inode = parts_.volume.replica().inodeForRelativePath(*relative);
  const auto node = inode ? parts_.volume.replica().node(*inode) : std::nullopt;
  if (!node)
    return std::unexpected(errorWithPOSIXCode(ENOENT, path + " does not exist, or is not known here yet"));
  return *node;
}

void Manager::item(BusMethodCall call, BusReply reply) {
  const auto node = knownNode(pathArgument(call));
  if (!node) return reply(std::unexpected(node.error()));
  replyJson(reply, descriptionOfItem(parts_.volume.replica(), *node));
}

void Manager::list(BusMethodCall call, BusReply reply) {
  const auto node = knownNode(pathArgument(call));
  if (!node) return reply(std::unexpected(node.error()));
  Replica& replica = parts_.volume.replica();
  const auto children = replica.children(node->inode);
  if (!children)
    return reply(std::unexpected(errorWithPOSIXCode(ENOTDIR, pathArgument(call) + " is not listed here")));
  NSArray items;
  for (const Inode inode : *children) {
    if (const auto child = replica.node(inode)) items.emplace_back(descriptionOfItem(replica, *child));
  }
  replyJson(reply, std::move(items));
}

void Manager::fetch(BusMethodCall call, BusReply reply) {
  const auto relative = relativePath(pathArgument(call));
  if (!relative) return reply(std::unexpected(relative.error()));
  const std::uint64_t ticket = nextTicket_++;
  reply(BusArguments{ticket});
  resolver_.resolve(*relative, [this, ticket](std::expected<Inode, int> inode) {
    if (!inode) return fetchProgress(ticket, 0, 0, true, std::strerror(inode.error()));
    startFetch(ticket, *inode);
  });
}

void Manager::startFetch(std::uint64_t ticket, Inode inode) {
  const auto content = parts_.volume.replica().content(inode);
  if (!content) return fetchProgress(ticket, 0, 0, true, content.error().localizedDescription());
  FetchJob::start(parts_.volume.materialiser(), *content,
                  [this, ticket](std::uint64_t completed, std::uint64_t total, bool finished, int error) {
                    fetchProgress(ticket, completed, total, finished, error != 0 ? std::strerror(error) : "");
                  });
}

void Manager::fetchProgress(std::uint64_t ticket, std::uint64_t completed, std::uint64_t total, bool finished,
                            const std::string& error) {
  bus_->emitSignal(manager::objectPath(parts_.domain.identifier), std::string(manager::kInterface),
                   "FetchProgress", "tttbs", {ticket, completed, total, finished, error});
}

void Manager::evict(BusMethodCall call, BusReply reply) {
  const auto node = knownNode(pathArgument(call));
  if (!node) return reply(std::unexpected(node.error()));
  reply(BusArguments{parts_.volume.evict(*node)});
}

void Manager::shutdown(BusMethodCall, BusReply reply) {
  reply(BusArguments{});
  shutDown_();
}

void Manager::stateChanged(const std::string& what) {
  bus_->emitSignal(manager::objectPath(parts_.domain.identifier), std::string(manager::kInterface),
                   "StateChanged", "s", {what});
}

}  // namespace zelto
