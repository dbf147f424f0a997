#pragma once

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>

#include <gtest/gtest.h>

#include "host/wire/Interfaces.h"
#include "platform/messaging/NSXPCConnection.h"
#include "platform/messaging/NSXPCInterface.h"
#include "tests/messaging/FakeServer.h"
#include "tests/messaging/Mailbox.h"

namespace zelto::test {

using Server = ZeltoFileProviderServerInterface;
using Client = ZeltoFileProviderClientInterface;

inline long openDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                       std::filesystem::directory_iterator());
}

// The messaging layer's threads in this process, by their names.
inline int messagingThreads() {
  int count = 0;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string name;
    std::getline(std::ifstream(thread.path() / "comm"), name);
    if (name.starts_with("xpc.")) ++count;
  }
  return count;
}

// False when it does not come true within half a minute.
template <typename Condition>
bool eventually(Condition condition) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::yield();
  }
  return true;
}

// The extension's side: accepts every connection, exports one client object and hands out the proxies.
class Acceptor : public NSXPCListenerDelegate {
 public:
  struct Accepted {
    std::shared_ptr<NSXPCConnection> connection;
    std::shared_ptr<Server> server;
  };

  Mailbox<Accepted> accepted;
  Mailbox<std::string> invalidations;
  FakeClient client;
  std::atomic<bool> accepts = true;

  bool listenerShouldAcceptNewConnection(NSXPCListener&,
                                         const std::shared_ptr<NSXPCConnection>& connection) override {
    connection->setExportedInterface(makeClientInterface());
    connection->setExportedObject(std::shared_ptr<Client>(std::shared_ptr<Client>(), &client));
    connection->setRemoteObjectInterface(makeServerInterface());
    connection->setInvalidationHandler([this] { invalidations.put("invalidated"); });
    connection->resume();
    // The test may go on, and end, as soon as it has the connection.
    bool answer = accepts;
    accepted.put({connection, connection->remoteObjectProxy<Server>()});
    return answer;
  }
};

// The host's side of one connection.
struct Host {
  std::shared_ptr<FakeServer> server = std::make_shared<FakeServer>();
  std::shared_ptr<NSXPCConnection> connection;
  std::shared_ptr<Client> client;
  Mailbox<std::string> invalidations;

  explicit Host(const NSXPCListenerEndpoint& endpoint) {
    connection = NSXPCConnection::connectionWithListenerEndpoint(endpoint).value();
    connection->setExportedInterface(makeServerInterface());
    connection->setExportedObject(std::shared_ptr<Server>(server));
    connection->setRemoteObjectInterface(makeClientInterface());
    connection->setInvalidationHandler([this] { invalidations.put("invalidated"); });
    connection->resume();
    client = connection->remoteObjectProxy<Client>();
  }
};

// A listener and one host connected to it. At the end neither a thread nor a descriptor may be left.
class ConnectedTest : public testing::Test {
 protected:
  void SetUp() override {
    descriptors_ = openDescriptors();
    auto listener = NSXPCListener::anonymousListener();
    listener->setDelegate(&acceptor);
    listener->resume();
    endpoint = listener->endpoint();
    connect();
  }
  void TearDown() override {
    extension.server.reset();
    if (extension.connection) extension.connection->invalidate();
    extension.connection.reset();
    if (host) host->connection->invalidate();
    endpoint.reset();
    EXPECT_TRUE(eventually([] { return messagingThreads() == 0; })) << "a thread is left";
    host.reset();
    EXPECT_TRUE(eventually([this] { return openDescriptors() == descriptors_; })) << "a descriptor is left";
  }

  void connect() {
    host = std::make_unique<Host>(*endpoint);
    extension = acceptor.accepted.take();
  }
  Server& server() { return *extension.server; }
  FakeServer& fake() { return *host->server; }

  Acceptor acceptor;
  std::shared_ptr<NSXPCListenerEndpoint> endpoint;
  std::unique_ptr<Host> host;
  Acceptor::Accepted extension;

 private:
  long descriptors_ = 0;
};

// A dictionary as hosts send them for one item.
inline NSDictionary itemDictionary(int number) {
  return {{"path", fmt::format("/Projects/Drawings/a rather long file name {}.dwg", number)},
          {"filename", fmt::format("a rather long file name {}.dwg", number)},
          {"itemType", 8},
          {"size", std::int64_t{4096} * number},
          {"creationDate", NSDate::sinceReferenceDate(700000000.25 + number)},
          {"modificationDate", NSDate::sinceReferenceDate(700000001.125 + number)},
          {"canWrite", number % 2 == 0},
          {"canDelete", true},
          {"mimeType", "application/acad"}};
}

}  // namespace zelto::test
