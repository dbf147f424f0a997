#include <random>

#include <gtest/gtest.h>

#include "tests/messaging/RawPeer.h"

namespace zelto::test {

constexpr std::uint16_t kAddBookmark = 12;

TEST(RandomBytes, NeverDoMoreThanCloseTheConnection) {
  testing::internal::CaptureStderr();
  std::minstd_rand random(20240305);
  for (int round = 0; round < 300; ++round) {
    RawPeer peer;
    peer.hello();
    std::vector<std::uint64_t> body(random() % 64);
    // Small numbers make likelier pointers than evenly spread ones.
    for (auto& word : body)
      word = random() % 2 == 0 ? random() % 1024 : (std::uint64_t{random()} << 33) | random() % 256;
    if (!body.empty() && random() % 4 != 0) body[0] = (body.size() - 1) << 32;
    auto operation = static_cast<std::uint16_t>(random() % 28);
    peer.send({.kind = FrameKind::call, .id = random() % 2, .operation = operation}, body);
    ::shutdown(peer.socket.get(), SHUT_WR);
    EXPECT_TRUE(peer.isClosed());
  }
  testing::internal::GetCapturedStderr();
}

TEST(ConnectionEnd, BetweenTwoFramesIsNoFault) {
  testing::internal::CaptureStderr();
  {
    RawPeer peer;
    peer.hello();
    peer.socket.reset();
    EXPECT_TRUE(peer.isClosed());
  }
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
}

TEST(FrameBoundaries, AFrameMayArriveByteByByte) {
  RawPeer peer;
  peer.hello();
  auto body = pathBody("/slow");
  auto header = encodeFrameHeader({.kind = FrameKind::call,
                                   .bodyLength = static_cast<std::uint32_t>(body.size() * 8),
                                   .operation = kAddBookmark});
  for (auto& byte : header) peer.send(std::span(&byte, 1));
  for (auto& byte : std::as_writable_bytes(std::span(body))) peer.send(std::span(&byte, 1));
  EXPECT_EQ("mark /slow", peer.fake->calls.take());
}

}  // namespace zelto::test
