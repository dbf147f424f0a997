#include "hostapp/ProviderConnector.h"

#include <algorithm>
#include <future>

#include <pthread.h>

#include "host/wire/Interfaces.h"
#include "hostapp/BackendErrors.h"
#include "platform/bus/ManagerInterface.h"
#include "platform/fileprovider/NSFileProviderTypes.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "platform/messaging/NSDistributedNotificationCenter.h"

namespace zelto {

namespace {

using std::chrono::milliseconds;

constexpr std::uint64_t kCallTimeout = 10'000'000;
constexpr milliseconds kFirstPause{50};
constexpr int kMostTries = 9;
// So long a new connection waits for what the last one had asked for.
constexpr std::chrono::seconds kLongestEnd{30};
constexpr const char* kNotificationName = "it.pellam.Zelto.FP.Notification";

bool announcesProvider(const std::string& object) {
  const auto value = NSJSONSerialization::valueWithString(object);
  const auto* dictionary = value ? value->asDictionary() : nullptr;
  return dictionary != nullptr && dictionary->find("providerListening") != nullptr;
}

using BusResult = std::expected<BusArguments, NSError>;

std::expected<NSXPCListenerEndpoint, NSError> endpointOf(BusResult result) {
  if (!result) return std::unexpected(result.error());
  const auto* descriptor =
      result->empty() ? nullptr : std::get_if<std::shared_ptr<UniqueDescriptor>>(&result->front());
  if (descriptor == nullptr || !*descriptor) {
    return std::unexpected(cocoaError(kReadUnknownError, "The manager answered without an endpoint."));
  }
  return NSXPCListenerEndpoint(std::move(**descriptor));
}

}  // namespace

// Lives as long as the calls and handlers that know it.
struct ProviderConnector::Core : std::enable_shared_from_this<Core> {
  Core(std::shared_ptr<SessionBus> b, std::string d, Hooks h)
      : bus(std::move(b)), domain(std::move(d)), hooks(std::move(h)) {}

  SessionBus::Target manager() const {
    return {manager::busName(domain), manager::objectPath(domain), std::string(manager::kInterface)};
  }
  void managerPresent(bool isPresent);
  void providerAnnounced();
  void lost(std::uint64_t number);
  void run();
  void awaitEnd(const std::vector<std::shared_future<void>>& ending) const;
  void awaitPause(std::unique_lock<std::mutex>& lock, int failures);
  std::optional<NSError> connect();
  BusResult askForEndpoint();
  void adopt(const std::shared_ptr<NSXPCConnection>& connection);
  void sendMode(const std::shared_ptr<ZeltoFileProviderClientInterface>& client);
  void signal();
  void signalEnded(const BusResult& result);
  void stop();

  const std::shared_ptr<SessionBus> bus;
  const std::string domain;
  const Hooks hooks;

  mutable std::mutex mutex;
  std::condition_variable wake;
  bool present = false;  // the manager's name has an owner
  bool wanted = false;   // a try is due
  bool stopping = false;
  std::optional<Link> link;
  std::vector<Link> dead;  // given up by the thread, not by a connection's own
  std::uint64_t lastNumber = 0;
  bool signalUnderWay = false;
  bool signalAgain = false;
  std::vector<std::shared_ptr<void>> observers;
  std::thread thread;
};

void ProviderConnector::Core::managerPresent(bool isPresent) {
  {
    const std::lock_guard lock(mutex);
    present = isPresent;
    wanted = wanted || isPresent;
  }
  wake.notify_all();
}

void ProviderConnector::Core::providerAnnounced() {
  {
    const std::lock_guard lock(mutex);
    wanted = true;
  }
  wake.notify_all();
}

void ProviderConnector::Core::lost(std::uint64_t number) {
  std::shared_ptr<HostService> service;
  {
    const std::lock_guard lock(mutex);
    if (!link || link->number != number) return;
    service = link->service;
    dead.push_back(std::move(*link));
    link.reset();
    wanted = true;
  }
  service->abandon();
  hooks.log("The connection to the file provider is lost.");
  wake.notify_all();
}

void ProviderConnector::Core::run() {
  ::pthread_setname_np(::pthread_self(), "host.connector");
  int failures = 0;
  std::vector<std::shared_future<void>> ending;
  std::unique_lock lock(mutex);
  for (;;) {
    wake.wait(lock, [this] { return stopping || !dead.empty() || (wanted && present && !link); });
    for (const Link& gone : dead) ending.push_back(gone.service->ended());
    auto gone = std::exchange(dead, {});
    const bool attempt = wanted && present && !link && !stopping;
    if (attempt) wanted = false;
    if (stopping) return;
    lock.unlock();
    gone.clear();
    if (attempt) awaitEnd(std::exchange(ending, {}));
    const auto error = attempt ? connect() : std::nullopt;
    if (error && failures == 0) hooks.log("No connection yet: " + error->localizedDescription());
    lock.lock();
    if (!error) {
      failures = 0;
    } else if (++failures < kMostTries) {
      awaitPause(lock, failures);
    } else {
      failures = 0;
    }
  }
}

// What is being changed for a provider that died is carried through before the next one looks what has become
// of its requests.
void ProviderConnector::Core::awaitEnd(const std::vector<std::shared_future<void>>& ending) const {
  for (const auto& each : ending) {
    if (each.wait_for(kLongestEnd) == std::future_status::ready) continue;
    hooks.log("What the last connection asked for still goes on.");
  }
}

// A sign of life ends the pause.
void ProviderConnector::Core::awaitPause(std::unique_lock<std::mutex>& lock, int failures) {
  wake.wait_for(lock, kFirstPause * (1 << (failures - 1)), [this] { return stopping || wanted || !present; });
  wanted = true;
}

BusResult ProviderConnector::Core::askForEndpoint() {
  auto answer = std::make_shared<std::optional<BusResult>>();
  bus->call(manager(), "ServiceEndpoint", "ss",
            {NSFileProviderRootContainerItemIdentifier, std::string(kFileProviderServiceName)}, kCallTimeout,
            [core = shared_from_this(), answer](BusResult result) {
              {
                const std::lock_guard guard(core->mutex);
                answer->emplace(std::move(result));
              }
              core->wake.notify_all();
            });
  std::unique_lock lock(mutex);
  wake.wait(lock, [this, &answer] { return stopping || answer->has_value(); });
  if (!answer->has_value()) return std::unexpected(cocoaError(kUserCancelledError, "The host is ending."));
  return std::move(**answer);
}

std::optional<NSError> ProviderConnector::Core::connect() {
  auto endpoint = endpointOf(askForEndpoint());
  if (!endpoint) return endpoint.error();
  auto connection = NSXPCConnection::connectionWithListenerEndpoint(*endpoint);
  if (!connection) return connection.error();
  adopt(*connection);
  return std::nullopt;
}

void ProviderConnector::Core::adopt(const std::shared_ptr<NSXPCConnection>& connection) {
  std::uint64_t number = 0;
  {
    const std::lock_guard lock(mutex);
    number = ++lastNumber;
  }
  auto service = hooks.makeService(number);
  connection->setExportedInterface(makeServerInterface());
  connection->setExportedObject(std::static_pointer_cast<ZeltoFileProviderServerInterface>(service));
  connection->setRemoteObjectInterface(makeClientInterface());
  connection->setInvalidationHandler([weak = weak_from_this(), number] {
    if (const auto core = weak.lock()) core->lost(number);
  });
  {
    const std::lock_guard lock(mutex);
    link = Link{connection, service, nullptr, number};
  }
  connection->resume();
  auto client = connection->remoteObjectProxy<ZeltoFileProviderClientInterface>();
  {
    const std::lock_guard lock(mutex);
    if (link && link->number == number) link->client = client;
  }
  hooks.log("Connected to the file provider.");
  sendMode(client);
  signal();
}

// The mode may change while it is being sent; the last word must be the present one.
void ProviderConnector::Core::sendMode(const std::shared_ptr<ZeltoFileProviderClientInterface>& client) {
  for (;;) {
    const auto mode = hooks.mode();
    client->updateUseMyFiles(mode.useMyFiles, mode.useOfflineFiles);
    if (mode == hooks.mode()) return;
  }
}

void ProviderConnector::Core::signal() {
  {
    const std::lock_guard lock(mutex);
    if (!link || stopping) return;
    if (signalUnderWay) {
      signalAgain = true;
      return;
    }
    signalUnderWay = true;
  }
  bus->call(manager(), "SignalEnumerator", "s", {NSFileProviderWorkingSetContainerItemIdentifier},
            kCallTimeout, [core = shared_from_this()](BusResult result) { core->signalEnded(result); });
}

void ProviderConnector::Core::signalEnded(const BusResult& result) {
  bool again = false;
  {
    const std::lock_guard lock(mutex);
    signalUnderWay = false;
    again = std::exchange(signalAgain, false);
  }
  // The manager that comes back is signalled when it is connected again.
  if (!result) hooks.log("Changes could not be signalled: " + result.error().localizedDescription());
  if (again) signal();
}

void ProviderConnector::Core::stop() {
  std::optional<Link> last;
  {
    const std::lock_guard lock(mutex);
    stopping = true;
    last = std::exchange(link, std::nullopt);
  }
  wake.notify_all();
  if (thread.joinable()) thread.join();
  observers.clear();
  if (!last) return;
  last->service->abandon();
  // Its own proxy: the thread may just have been about to make one.
  last->connection->remoteObjectProxy<ZeltoFileProviderClientInterface>()->disconnect();
  last->connection->invalidate();
}

ProviderConnector::ProviderConnector(std::shared_ptr<SessionBus> bus, std::string domain, Hooks hooks)
    : core_(std::make_shared<Core>(std::move(bus), std::move(domain), std::move(hooks))) {}

ProviderConnector::~ProviderConnector() { core_->stop(); }

void ProviderConnector::stop() { core_->stop(); }

void ProviderConnector::start() {
  core_->thread = std::thread([core = core_.get()] { core->run(); });
  const std::weak_ptr<Core> weak = core_;
  core_->observers.push_back(NSDistributedNotificationCenter::defaultCenter().addObserver(
      kNotificationName, [weak](const std::string& object) {
        const auto core = weak.lock();
        if (core && announcesProvider(object)) core->providerAnnounced();
      }));
  core_->observers.push_back(core_->bus->watchName(manager::busName(core_->domain), [weak](bool present) {
    if (const auto core = weak.lock()) core->managerPresent(present);
  }));
}

bool ProviderConnector::isConnected() const {
  const std::lock_guard lock(core_->mutex);
  return core_->link.has_value();
}

void ProviderConnector::sendMode() {
  std::shared_ptr<ZeltoFileProviderClientInterface> client;
  {
    const std::lock_guard lock(core_->mutex);
    if (core_->link) client = core_->link->client;
  }
  if (client) core_->sendMode(client);
}

void ProviderConnector::signalChanges() { core_->signal(); }

}  // namespace zelto
