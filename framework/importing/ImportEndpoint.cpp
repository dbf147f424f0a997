#include "framework/importing/ImportEndpoint.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>

#include "framework/importing/AwaitedAnswer.h"
#include "framework/propagation/FreshListing.h"
#include "platform/bus/ManagerInterface.h"
#include "platform/fileprovider/NSFileProviderServiceSource.h"
#include "platform/messaging/NSXPCConnection.h"

namespace zelto {
namespace {

// A host that took the endpoint and says nothing is ready after this time.
constexpr std::chrono::milliseconds kGrace{500};
// For a listing that is under way: the folder may be large.
constexpr std::chrono::milliseconds kPatience{60'000};
// Between two tries to reach the host through the extension.
constexpr std::chrono::milliseconds kPause{10};

using Clock = Deadlines::Clock;
using Sources = std::vector<std::shared_ptr<NSFileProviderServiceSource>>;

// A descriptor of the named service's endpoint. ERRORS: POSIX domain.
std::expected<std::shared_ptr<UniqueDescriptor>, NSError> descriptorOf(const Sources& sources,
                                                                       const std::string& service) {
  for (const auto& source : sources) {
    if (source->serviceName() != service) continue;
    std::optional<NSError> error;
    const auto endpoint = source->makeListenerEndpointAndReturnError(&error);
    const int copy = endpoint ? ::fcntl(endpoint->descriptor(), F_DUPFD_CLOEXEC, 0) : -1;
    if (copy >= 0) return std::make_shared<UniqueDescriptor>(copy);
    return std::unexpected(error.value_or(errorWithPOSIXCode(EIO, "the service has no endpoint")));
  }
  return std::unexpected(errorWithPOSIXCode(ENOENT, "no service named " + service));
}

}  // namespace

ImportEndpoint::ImportEndpoint(NSFileProviderPrincipal& extension, Deadlines& deadlines,
                               std::shared_ptr<SessionBus> bus)
    : extension_(extension), bus_(std::move(bus)), link_(deadlines, kGrace) {
  link_.addObserver([this](bool present) {
    if (!present) ++losses_;
    const std::lock_guard lock(mutex_);
    changed_.notify_all();
  });
}

std::optional<NSError> ImportEndpoint::start(const std::string& domain) {
  const std::string name = manager::importerOf(domain);
  BusInterface interface;
  interface.name = manager::kInterface;
  interface.methods = {
      {"ServiceEndpoint", "ss", "h",
       [this](const BusMethodCall& call, BusReply reply) { serviceEndpoint(call, std::move(reply)); }},
      {"SignalEnumerator", "s", "",
       [this](const BusMethodCall& call, BusReply reply) {
         link_.ready(call.sender);
         reply(BusArguments{});
       }},
  };
  if (auto error = bus_->exportObject(manager::objectPath(name), std::move(interface))) return error;
  return bus_->requestName(manager::busName(name));
}

void ImportEndpoint::serviceEndpoint(const BusMethodCall& call, BusReply reply) {
  extension_.supportedServiceSourcesForItemIdentifier(
      std::get<std::string>(call.arguments[0]),
      [this, peer = call.sender, service = std::get<std::string>(call.arguments[1]),
       reply = std::move(reply)](const Sources& sources, std::optional<NSError> error) mutable {
        if (error) return reply(std::unexpected(*std::move(error)));
        auto descriptor = descriptorOf(sources, service);
        if (!descriptor) return reply(std::unexpected(descriptor.error()));
        watchPeer(peer);
        link_.endpointTaken(peer);
        reply(BusArguments{*std::move(descriptor)});
      });
}

void ImportEndpoint::watchPeer(const std::string& peer) {
  auto watch = bus_->watchName(peer, [this, peer](bool present) {
    if (!present) link_.peerLeft(peer);
  });
  const std::lock_guard lock(mutex_);
  watch_.swap(watch);
}

bool ImportEndpoint::waitForLink(Clock::time_point end) {
  std::unique_lock lock(mutex_);
  return changed_.wait_until(lock, end, [this] { return link_.present(); });
}

bool ImportEndpoint::waitForHost(const std::string& folder, std::chrono::milliseconds limit) {
  using Answer = AwaitedAnswer<std::vector<NSFileProviderItemPtr>, std::optional<NSError>>;
  const auto end = Clock::now() + limit;
  while (waitForLink(end) && Clock::now() < end) {
    Answer answer;
    listFreshly(extension_, folder, answer.handler());
    const auto state = answer.wait(kPatience);
    if (state == Answer::State::answered) return true;
    if (state == Answer::State::awaited) return false;
    std::unique_lock lock(mutex_);
    changed_.wait_until(lock, std::min(end, Clock::now() + kPause));
  }
  return false;
}

}  // namespace zelto
