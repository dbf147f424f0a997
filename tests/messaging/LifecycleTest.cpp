#include <algorithm>
#include <atomic>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include "tests/messaging/ConnectedTest.h"

namespace zelto::test {

using Lifecycle = ConnectedTest;

// Tells the test when a completion is destroyed, called or not.
std::shared_ptr<void> token(Mailbox<std::string>& destroyed) {
  return std::shared_ptr<void>(nullptr, [&destroyed](void*) { destroyed.put("destroyed"); });
}

TEST_F(Lifecycle, SeveralHostsConnectThroughOneEndpoint) {
  auto firstHost = std::move(host);
  auto first = extension;
  connect();
  first.server->addBookmarkForPath("/first");
  server().addBookmarkForPath("/second");
  EXPECT_EQ("mark /first", firstHost->server->calls.take());
  EXPECT_EQ("mark /second", fake().calls.take());

  firstHost->connection->invalidate();
  EXPECT_NO_THROW(acceptor.invalidations.take());
  server().addBookmarkForPath("/third");
  EXPECT_EQ("mark /third", fake().calls.take());
}

TEST_F(Lifecycle, ARejectedConnectionIsClosed) {
  acceptor.accepts = false;
  Host rejected(*endpoint);
  EXPECT_NO_THROW(rejected.invalidations.take());
  acceptor.accepted.take();
}

TEST_F(Lifecycle, TheListenerEndsWithTheLastCopyOfItsEndpoint) {
  NSXPCListenerEndpoint copy(UniqueDescriptor(::fcntl(endpoint->descriptor(), F_DUPFD_CLOEXEC, 0)));
  endpoint.reset();
  Host another(copy);
  EXPECT_NO_THROW(acceptor.accepted.take());
  another.connection->invalidate();
}

TEST_F(Lifecycle, TheHandleOfAListenerKeepsItsEndpoint) {
  auto listener = NSXPCListener::anonymousListener();
  EXPECT_EQ(listener->endpoint(), listener->endpoint());
  auto kept = listener->endpoint();
  listener.reset();
  // Never resumed, so nobody listens.
  EXPECT_FALSE(NSXPCConnection::connectionWithListenerEndpoint(*kept));
}

TEST_F(Lifecycle, OddPacketsDoNotStopAListener) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(0, ::send(endpoint->descriptor(), "", 0, 0));
  EXPECT_EQ(8, ::send(endpoint->descriptor(), "ZLCONN 1", 8, 0));
  EXPECT_EQ(5, ::send(endpoint->descriptor(), "what?", 5, 0));
  Host another(*endpoint);
  EXPECT_NO_THROW(acceptor.accepted.take());
  another.connection->invalidate();
  auto text = testing::internal::GetCapturedStderr();
  EXPECT_EQ(3, std::ranges::count(text, '\n')) << text;
}

TEST_F(Lifecycle, ADeadPeerIsSilence) {
  Mailbox<std::string> destroyed;
  server().metadataForSharesWithCompletion([held = token(destroyed)](auto) { FAIL(); });
  auto reply = fake().lists.take();
  host->connection->invalidate();
  EXPECT_NO_THROW(destroyed.take()) << "the waiting completion is kept";
  EXPECT_NO_THROW(acceptor.invalidations.take());
  EXPECT_TRUE(host->invalidations.empty()) << "the side that ends a connection knows it";

  // Late replies and calls on the stale proxy do nothing.
  reply({});
  server().addBookmarkForPath("/nobody");
  server().logMessage("m", "l", "d", false, 1);
  server().metadataForSharesWithCompletion([held = token(destroyed)](auto) { FAIL(); });
  EXPECT_NO_THROW(destroyed.take());
  auto progress = server().deleteItemWithPath("/nobody", [held = token(destroyed)](auto) { FAIL(); });
  EXPECT_NO_THROW(destroyed.take());
  ASSERT_TRUE(progress);
  EXPECT_EQ(0, progress->totalUnitCount());
  progress->cancel();
}

TEST_F(Lifecycle, InvalidatingFromAReplyEndsTheConnection) {
  Mailbox<std::string> destroyed;
  auto connection = extension.connection;
  server().metadataForSharesWithCompletion(
      [connection, held = token(destroyed)](auto) { connection->invalidate(); });
  server().metadataForSharesWithCompletion([held = token(destroyed)](auto) { FAIL(); });
  auto first = fake().lists.take();
  auto second = fake().lists.take();
  first({});
  second({});
  EXPECT_NO_THROW(destroyed.take());
  EXPECT_NO_THROW(destroyed.take());
  EXPECT_NO_THROW(host->invalidations.take());
}

TEST_F(Lifecycle, InvalidatingFromTheInvalidationHandlerIsHarmless) {
  Mailbox<std::string> done;
  host->connection->setInvalidationHandler([&] {
    host->connection->invalidate();
    done.put("done");
  });
  extension.connection->invalidate();
  EXPECT_NO_THROW(done.take());
}

TEST_F(Lifecycle, CallsAndInvalidationFromManyThreadsEndCleanly) {
  std::atomic<int> answered = 0;
  std::vector<std::jthread> callers;
  for (int i = 0; i < 4; ++i)
    callers.emplace_back([this, &answered](const std::stop_token& stop) {
      while (!stop.stop_requested()) {
        server().deleteItemWithPath("/x", [&answered](auto) { ++answered; });
        server().logMessage("m", "l", "d", false, 1);
      }
    });
  callers.emplace_back([this] {
    while (host->invalidations.empty()) fake().errors.take()(std::nullopt);
  });
  ASSERT_TRUE(eventually([&] { return answered > 100; }));
  extension.connection->invalidate();
  EXPECT_TRUE(eventually([this] { return !host->invalidations.empty(); }));
  // What the answering thread waits for once nothing comes any more.
  fake().errors.put([](auto) {});
}

TEST_F(Lifecycle, AConnectionLivesWithoutAnybodyHoldingIt) {
  host->connection->setInvalidationHandler({});
  auto kept = extension.connection;
  extension.connection.reset();
  server().addBookmarkForPath("/held by the proxy");
  EXPECT_EQ("mark /held by the proxy", fake().calls.take());
  extension.server.reset();
  // Neither the connection nor a proxy is held here.
  std::weak_ptr<NSXPCConnection> connection = kept;
  kept.reset();
  host->client->disconnect();
  EXPECT_EQ("disconnect", acceptor.client.calls.take());
  host->connection->invalidate();
  EXPECT_TRUE(eventually([&connection] { return connection.expired(); }));
}

}  // namespace zelto::test
