#include <atomic>
#include <future>
#include <thread>

#include <gtest/gtest.h>

#include "framework/importing/ImportEndpoint.h"
#include "platform/bus/ManagerInterface.h"
#include "platform/fileprovider/NSFileProviderServiceSource.h"
#include "platform/messaging/NSXPCConnection.h"
#include "tests/bus/PrivateBus.h"
#include "tests/framework/FakeExtension.h"

namespace zelto::test {
namespace {

using namespace std::chrono_literals;

class Source final : public NSFileProviderServiceSource {
 public:
  std::string serviceName() const override { return "service"; }
  std::shared_ptr<NSXPCListenerEndpoint> makeListenerEndpointAndReturnError(
      std::optional<NSError>*) override {
    return listener_->endpoint();
  }

 private:
  const std::shared_ptr<NSXPCListener> listener_ = NSXPCListener::anonymousListener();
};

// Drops the first listings that it is asked for, as one does that has not taken the host's connection yet.
class LateExtension final : public FakeExtension {
 public:
  explicit LateExtension(int dropped) : dropped_(dropped) {}
  int asked() const { return asked_; }

  std::shared_ptr<NSProgress> supportedServiceSourcesForItemIdentifier(
      const std::string&,
      Completion<std::vector<std::shared_ptr<NSFileProviderServiceSource>>, std::optional<NSError>> handler)
      override {
    handler({std::make_shared<Source>()}, std::nullopt);
    return NSProgress::create();
  }
  std::shared_ptr<NSFileProviderEnumerator> enumeratorForContainerItemIdentifier(
      const std::string&, const NSFileProviderRequest&, std::optional<NSError>*) override {
    return std::make_shared<Enumerator>(++asked_ <= dropped_);
  }

 private:
  class Enumerator final : public NSFileProviderEnumerator {
   public:
    explicit Enumerator(bool drops) : drops_(drops) {}
    void invalidate() override {}
    void enumerateItemsForObserver(std::shared_ptr<NSFileProviderEnumerationObserver> observer,
                                   const NSFileProviderPage&) override {
      if (!drops_) observer->finishEnumeratingUpToPage(std::nullopt);
    }
    void enumerateChangesForObserver(std::shared_ptr<NSFileProviderChangeObserver>,
                                     const NSFileProviderSyncAnchor&) override {}
    void currentSyncAnchorWithCompletionHandler(
        Completion<std::optional<NSFileProviderSyncAnchor>>) override {}

   private:
    const bool drops_;
  };

  const int dropped_;
  std::atomic<int> asked_ = 0;
};

TEST(ImportEndpointTest, AHostIsThereOnceTheExtensionReachesIt) {
  PrivateBus bus;
  bus.start();
  // Not destroyed, as in the process: the bus's thread may be at work on them.
  static auto& deadlines = *new Deadlines();
  static auto& extension = *new LateExtension(3);
  static auto& endpoint = *new ImportEndpoint(extension, deadlines, *SessionBus::connect());
  ASSERT_FALSE(endpoint.start("test"));
  EXPECT_FALSE(endpoint.waitForHost("/share", 1ms));
  EXPECT_EQ(extension.asked(), 0);
  auto waiting = std::async(std::launch::async, [] { return endpoint.waitForHost("/share", 20s); });
  auto host = *SessionBus::connect();
  const auto name = manager::importerOf("test");
  const SessionBus::Target target{manager::busName(name), manager::objectPath(name),
                                  std::string(manager::kInterface)};
  ASSERT_TRUE(host->callAndWait(target, "ServiceEndpoint", "ss",
                                {std::string("root"), std::string("service")}, 20'000'000));
  ASSERT_TRUE(host->callAndWait(target, "SignalEnumerator", "s", {std::string("root")}, 20'000'000));
  EXPECT_TRUE(waiting.get());
  EXPECT_EQ(extension.asked(), 4);
  EXPECT_EQ(endpoint.losses(), 0U);
  host.reset();
  while (endpoint.losses() == 0) std::this_thread::yield();
  EXPECT_FALSE(endpoint.waitForHost("/share", 1ms));
}

}  // namespace
}  // namespace zelto::test
