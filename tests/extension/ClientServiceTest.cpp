#include <future>

#include <unistd.h>

#include "host/wire/Interfaces.h"
#include "tests/extension/Fixture.h"

namespace zelto::test {
namespace {

constexpr auto kPatience = std::chrono::seconds(20);

// A host in this process, at the other end of a real connection.
class RemoteHost {
 public:
  RemoteHost(const NSXPCListenerEndpoint& endpoint, DictionaryList listing) {
    host_->lists["/S"] = std::move(listing);
    auto connection = NSXPCConnection::connectionWithListenerEndpoint(endpoint);
    EXPECT_TRUE(connection);
    connection_ = *std::move(connection);
    connection_->setExportedInterface(makeServerInterface());
    connection_->setExportedObject(
        std::static_pointer_cast<void>(std::shared_ptr<ZeltoFileProviderServerInterface>(host_)));
    connection_->setRemoteObjectInterface(makeClientInterface());
    connection_->resume();
    extension_ = connection_->remoteObjectProxy<ZeltoFileProviderClientInterface>();
  }

  FakeHost& host() { return *host_; }
  ZeltoFileProviderClientInterface& extension() { return *extension_; }
  void invalidate() { connection_->invalidate(); }

 private:
  std::shared_ptr<FakeHost> host_ = std::make_shared<FakeHost>();
  std::shared_ptr<NSXPCConnection> connection_;
  std::shared_ptr<ZeltoFileProviderClientInterface> extension_;
};

class ClientServiceTest : public ::testing::Test {
 protected:
  static ZeltoFileProviderClient& client() { return ZeltoFileProviderClient::instance(); }

  // `listing` is what the host answers for "/S".
  static std::unique_ptr<RemoteHost> connect(DictionaryList listing = {}) {
    const auto before = client().server();
    std::optional<NSError> error;
    const auto endpoint = client().makeListenerEndpointAndReturnError(&error);
    EXPECT_TRUE(endpoint && !error);
    auto host = std::make_unique<RemoteHost>(*endpoint, std::move(listing));
    EXPECT_TRUE(waitUntil([&] { return client().server() != before; }));
    return host;
  }

  // Polls, since nothing tells when the extension's side has accepted or been told.
  static bool waitUntil(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
      if (std::chrono::steady_clock::now() > end) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
  }

  static std::vector<std::string> list(const std::string& path) {
    std::promise<FileProviderItemList> promise;
    auto items = promise.get_future();
    client().providerItemsForDirectory(
        path, false, [&promise](FileProviderItemList list) { promise.set_value(std::move(list)); });
    if (items.wait_for(kPatience) != std::future_status::ready) return {"(no reply)"};
    return identifiersOf(items.get());
  }
};

TEST_F(ClientServiceTest, ServiceHasItsNameAndThisProcess) {
  EXPECT_EQ("it.pellam.Zelto.FP.Service.v1", client().serviceName());
  EXPECT_EQ(::getpid(), client().pid());
  EXPECT_NE(ZeltoFileProviderClient::fileProviderServerInterface(),
            ZeltoFileProviderClient::fileProviderServerInterface());
}

TEST_F(ClientServiceTest, ConnectedHostListsConfiguresAndReceivesTheLog) {
  const auto remote = connect({fileDictionary("/S/a"), folderDictionary("/S/d")});
  EXPECT_THAT(list("/S"), testing::ElementsAre("/S/a", "/S/d"));
  remote->extension().updateUseMyFiles(true, false);
  ASSERT_TRUE(waitUntil([&] { return client().useMyFiles(); }));
  EXPECT_FALSE(client().useOfflineFiles());
  ASSERT_TRUE(waitUntil([&] { return !remote->host().log().empty(); }));
  const auto line = remote->host().log().front();
  EXPECT_EQ("FP[Client] Update Config (UseMyFiles=1, UseOfflineFiles=0)", line.message);
  EXPECT_EQ(::getpid(), line.pid);
}

TEST_F(ClientServiceTest, TheNewestHostIsTheOneThatIsCalled) {
  const auto first = connect({fileDictionary("/S/first")});
  const auto second = connect({fileDictionary("/S/second")});
  EXPECT_THAT(list("/S"), testing::ElementsAre("/S/second"));
  EXPECT_TRUE(first->host().calls().empty());
}

TEST_F(ClientServiceTest, DisconnectLetsGoOfTheHostAndCallsAreDropped) {
  const auto remote = connect();
  remote->extension().disconnect();
  ASSERT_TRUE(waitUntil([] { return client().server() == nullptr; }));
  Items dropped;
  client().providerItemsForDirectory("/S", false, dropped.completion());
  EXPECT_TRUE(dropped.destroyed());
  EXPECT_EQ(0, dropped.count());
  ASSERT_TRUE(waitUntil([&] { return !remote->host().log().empty(); }));
  EXPECT_EQ("FP[Client] Disconnecting", remote->host().log().front().message);
}

TEST_F(ClientServiceTest, ADeadConnectionStaysAndDropsItsCallsSilently) {
  auto remote = connect();
  remote->host().hold("/S");
  Items held;
  client().providerItemsForDirectory("/S", false, held.completion());
  ASSERT_TRUE(waitUntil([&] { return !remote->host().calls().empty(); }));
  remote->invalidate();
  EXPECT_TRUE(waitUntil([&] { return held.destroyed(); }));
  EXPECT_EQ(0, held.count());
  EXPECT_TRUE(client().server());
  Items after;
  client().providerItemsForDirectory("/T", false, after.completion());
  EXPECT_TRUE(waitUntil([&] { return after.destroyed(); }));
  EXPECT_EQ(0, after.count());
}

}  // namespace
}  // namespace zelto::test
