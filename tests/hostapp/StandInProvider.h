#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <unistd.h>

#include "host/ZeltoFileProviderClientInterface.h"
#include "host/ZeltoFileProviderServerInterface.h"
#include "host/wire/Interfaces.h"
#include "platform/bus/ManagerInterface.h"
#include "platform/bus/SessionBus.h"
#include "platform/messaging/NSDistributedNotificationCenter.h"
#include "platform/messaging/NSXPCConnection.h"

namespace zelto::test {

// Framework and extension as the host sees them: a manager on the bus that hands out endpoints, and a
// service that accepts connections.
class StandInProvider : public NSXPCListenerDelegate, public ZeltoFileProviderClientInterface {
 public:
  ~StandInProvider() override { leave(); }

  // Takes the manager's name; endpoints are refused as long as `refusals` are left.
  void appear(int refusals = 0) {
    refusals_ = refusals;
    bus_ = *SessionBus::connect();
    BusInterface interface {
      std::string(manager::kInterface), {}, {}
    };
    interface.methods.push_back(
        {"ServiceEndpoint", "ss", "h",
         [this](const BusMethodCall& call, BusReply reply) { endpoint(call.arguments, std::move(reply)); }});
    interface.methods.push_back(
        {"SignalEnumerator", "s", "", [this](const BusMethodCall& call, BusReply reply) {
           if (std::get<std::string>(call.arguments[0]) == NSFileProviderWorkingSetContainerItemIdentifier) {
             ++signals;
           }
           reply(BusArguments());
         }});
    bus_->exportObject(manager::objectPath("default"), std::move(interface));
    bus_->requestName(manager::busName("default"));
  }
  void announce() {
    NSDistributedNotificationCenter::defaultCenter().postNotification(
        "it.pellam.Zelto.FP.Notification", R"({"providerListening":"05 Mar 2024 14:03:27"})");
  }
  // As when the process ends.
  void leave() {
    bus_.reset();
    dropConnection();
  }
  void dropConnection() {
    std::shared_ptr<NSXPCConnection> last;
    {
      const std::lock_guard lock(mutex_);
      last = std::exchange(connection_, nullptr);
      server_.reset();
    }
    if (last) last->invalidate();
  }
  std::shared_ptr<ZeltoFileProviderServerInterface> server() const {
    const std::lock_guard lock(mutex_);
    return server_;
  }
  std::string configurations() const {
    const std::lock_guard lock(mutex_);
    return configurations_;
  }

  bool listenerShouldAcceptNewConnection(NSXPCListener&,
                                         const std::shared_ptr<NSXPCConnection>& connection) override {
    connection->setExportedInterface(makeClientInterface());
    connection->setExportedObject(std::shared_ptr<ZeltoFileProviderClientInterface>(
        std::shared_ptr<void>(), static_cast<ZeltoFileProviderClientInterface*>(this)));
    connection->setRemoteObjectInterface(makeServerInterface());
    connection->resume();
    const std::lock_guard lock(mutex_);
    connection_ = connection;
    server_ = connection->remoteObjectProxy<ZeltoFileProviderServerInterface>();
    ++connections;
    return true;
  }
  void disconnect() override { ++disconnects; }
  void updateUseMyFiles(bool useMyFiles, bool useOfflineFiles) override {
    const std::lock_guard lock(mutex_);
    configurations_ += std::string(useMyFiles ? "M" : "m") + (useOfflineFiles ? "O " : "o ");
  }

  std::atomic<int> asked = 0;
  std::atomic<int> signals = 0;
  std::atomic<int> connections = 0;
  std::atomic<int> disconnects = 0;

 private:
  void endpoint(const BusArguments& arguments, BusReply reply) {
    ++asked;
    const bool right = std::get<std::string>(arguments[0]) == NSFileProviderRootContainerItemIdentifier &&
                       std::get<std::string>(arguments[1]) == "it.pellam.Zelto.FP.Service.v1";
    if (!right || refusals_-- > 0) {
      return reply(std::unexpected(NSError(NSCocoaErrorDomain, 256, {})));
    }
    const auto listener = NSXPCListener::anonymousListener();
    listener->setDelegate(this);
    listener->resume();
    const auto copy = std::make_shared<UniqueDescriptor>(::dup(listener->endpoint()->descriptor()));
    reply(BusArguments{copy});
  }

  std::shared_ptr<SessionBus> bus_;
  std::atomic<int> refusals_ = 0;
  mutable std::mutex mutex_;
  std::shared_ptr<NSXPCConnection> connection_;
  std::shared_ptr<ZeltoFileProviderServerInterface> server_;
  std::string configurations_;
};

}  // namespace zelto::test
