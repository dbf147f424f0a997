#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "host/ZeltoFileProviderClientInterface.h"
#include "hostapp/HostService.h"
#include "hostapp/HostStore.h"
#include "platform/bus/SessionBus.h"
#include "platform/messaging/NSXPCConnection.h"

namespace zelto {

// Finds the extension of one domain and keeps a connection to it, whichever of the two starts first and
// whichever dies: it listens for the extension's broadcast and watches the manager's name on the bus. A
// try that fails is repeated a few times with growing pauses; then the next sign of life is awaited.
// THREAD: any.
class ProviderConnector {
 public:
  struct Hooks {
    // The object to export to a new connection.
    std::function<std::shared_ptr<HostService>(std::uint64_t connection)> makeService;
    std::function<HostMode()> mode;
    std::function<void(const std::string&)> log;
  };
  ProviderConnector(std::shared_ptr<SessionBus> bus, std::string domain, Hooks hooks);
  ~ProviderConnector();
  ProviderConnector(const ProviderConnector&) = delete;
  ProviderConnector& operator=(const ProviderConnector&) = delete;

  void start();
  // Disconnects the extension. From then on nothing is done.
  void stop();
  bool isConnected() const;
  // Tells the extension the mode. Nothing while it is not connected: a new connection begins with it.
  void sendMode();
  // Asks the manager to take the changes. Calls while one is under way are joined into one more.
  void signalChanges();

 private:
  struct Link {
    std::shared_ptr<NSXPCConnection> connection;
    std::shared_ptr<HostService> service;
    std::shared_ptr<ZeltoFileProviderClientInterface> client;
    std::uint64_t number = 0;
  };
  struct Core;

  const std::shared_ptr<Core> core_;
};

}  // namespace zelto
