#include <algorithm>

#include <gtest/gtest.h>

#include "tests/messaging/RawPeer.h"

namespace zelto::test {

TEST(StoppedPeer, LogLinesAreDroppedBeyondTheirBoundAndJoinedBelowIt) {
  testing::internal::CaptureStderr();
  RawPeer peer;
  peer.hello();
  constexpr std::size_t kLines = 400'000;
  for (std::size_t i = 0; i < kLines; ++i)
    peer.server->logMessage(fmt::format("line {}", i), "Info", "05 Mar 2024 14:03:27", false, 1);
  auto dropped = peer.connection->writer().droppedCalls();
  EXPECT_GT(dropped, kLines / 4);
  EXPECT_LE(peer.connection->writer().queuedBytes(), std::size_t{9} << 20);
  EXPECT_TRUE(peer.connection->isOpen()) << "log lines are no reason to end a connection";
  auto text = testing::internal::GetCapturedStderr();
  EXPECT_EQ(1, std::ranges::count(text, '\n')) << text;
  EXPECT_NE(std::string::npos, text.find("log lines for it are dropped")) << text;

  // The peer reads again: everything that was kept comes, in few frames, and then calls get through.
  peer.server->addBookmarkForPath("/after");
  peer.skipHello();
  std::size_t frames = 0;
  std::size_t bytes = 0;
  for (auto frame = peer.receive(); frame.message.operation == 26; frame = peer.receive()) {
    ++frames;
    bytes += frame.message.body.size() * 8;
  }
  EXPECT_GT(bytes, std::size_t{7} << 20);
  EXPECT_LT(frames, (kLines - dropped) / 10) << "the lines were not joined";
}

TEST(StoppedPeer, OtherCallsEndTheConnectionBeyondTheirBound) {
  testing::internal::CaptureStderr();
  RawPeer peer({.queuedBytes = 1 << 20});
  peer.hello();
  Mailbox<std::string> destroyed;
  std::shared_ptr<void> token(nullptr, [&destroyed](void*) { destroyed.put("destroyed"); });
  std::string path(10'000, 'p');
  for (int i = 0; i < 1000 && peer.connection->isOpen(); ++i)
    peer.server->deleteItemWithPath(path, [token](auto) { FAIL(); });
  EXPECT_TRUE(peer.isClosed());
  token.reset();
  EXPECT_NO_THROW(destroyed.take()) << "completions of a dead connection are kept";
  EXPECT_EQ(0U, peer.connection->writer().queuedBytes());
  auto text = testing::internal::GetCapturedStderr();
  EXPECT_NE(std::string::npos, text.find("the peer does not read and over 1 MiB wait for it")) << text;
}

TEST(StoppedPeer, ALongListingWaitsWithoutBeingEncoded) {
  RawPeer peer;
  peer.hello();
  peer.skipHello();
  peer.send({.kind = FrameKind::call, .id = 1, .operation = 2}, {0x0000000100000000, 0});
  auto reply = peer.fake->lists.take();
  DictionaryList list(300'000,
                      NSDictionary{{"filename", "a name of more than sixteen characters"}, {"size", 1}});
  reply(std::move(list));
  std::size_t parts = 0;
  // The first part is there while almost all of the others are still to be made.
  EXPECT_EQ(FrameKind::part, peer.receive().kind);
  EXPECT_LE(peer.connection->writer().queuedBytes(), std::size_t{1} << 20);
  while (peer.receive().kind == FrameKind::part) ++parts;
  EXPECT_EQ(298U, parts);
}

TEST(StoppedPeer, ListsThatWaitAreBounded) {
  testing::internal::CaptureStderr();
  RawPeer peer({.sources = 8});
  peer.hello();
  for (std::uint64_t id = 1; id <= 12; ++id)
    peer.send({.kind = FrameKind::call, .id = id, .operation = 2}, {0x0000000100000000, 0});
  DictionaryList list(20'000,
                      NSDictionary{{"filename", "a name of more than sixteen characters"}, {"size", 1}});
  for (int i = 0; i < 12; ++i) peer.fake->lists.take()(list);
  EXPECT_TRUE(peer.isClosed());
  auto text = testing::internal::GetCapturedStderr();
  EXPECT_NE(std::string::npos, text.find("8 lists wait for it")) << text;
}

}  // namespace zelto::test
