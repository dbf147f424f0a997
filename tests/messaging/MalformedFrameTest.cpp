#include <algorithm>
#include <functional>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include "host/wire/FileProvider.capnp.h"
#include "host/wire/MessageCodec.h"
#include "tests/messaging/RawPeer.h"

namespace zelto::test {

namespace {

constexpr std::uint16_t kDelete = 22;
constexpr std::uint16_t kShares = 2;
constexpr std::uint16_t kBookmark = 12;
constexpr std::uint16_t kRange = 25;
constexpr std::uint16_t kLog = 26;

struct BadInput {
  const char* name;
  std::function<void(RawPeer&)> send;
  const char* diagnostic;  // a part of the line on stderr; "" where the end is no fault
};

std::ostream& operator<<(std::ostream& out, const BadInput& input) { return out << input.name; }

std::vector<std::byte> headerBytes(FrameHeader header, std::size_t changedAt = 0,
                                   std::uint8_t changedTo = 'Z') {
  auto bytes = encodeFrameHeader(header);
  bytes[changedAt] = std::byte{changedTo};
  return {bytes.begin(), bytes.end()};
}

template <typename Fill>
std::vector<std::uint64_t> resultBody(Fill fill) {
  return wire::encodeMessage<wire::Result>(0, [&](wire::Result::Builder out, auto&) { fill(out); })->body;
}

template <typename Fill>
std::vector<std::uint64_t> listingBody(Fill fill) {
  return wire::encodeMessage<wire::Listing>(0, [&](wire::Listing::Builder out, auto&) { fill(out); })->body;
}

// Answers the one call that the connection makes.
void answer(RawPeer& peer, std::uint16_t operation, std::vector<std::uint64_t> body,
            std::vector<UniqueDescriptor> descriptors = {}, FrameKind kind = FrameKind::reply) {
  peer.hello();
  if (operation == kShares)
    peer.server->metadataForSharesWithCompletion([](auto) { FAIL() << "a forged listing was delivered"; });
  else if (operation == kRange)
    peer.server->downloadItemWithPath("/p", {}, 0, [](auto, auto, auto, auto) { FAIL() << "delivered"; });
  else
    peer.server->deleteItemWithPath("/p", [](auto) { FAIL() << "a forged result was delivered"; });
  peer.skipHello();
  auto call = peer.receive();
  peer.send({.kind = kind, .id = call.id, .operation = operation}, std::move(body), std::move(descriptors));
}

UniqueDescriptor memoryFile(unsigned seals, off_t size = 100'000) {
  UniqueDescriptor descriptor(::memfd_create("test", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  EXPECT_EQ(0, ::ftruncate(descriptor.get(), size));
  EXPECT_EQ(0, ::fcntl(descriptor.get(), F_ADD_SEALS, seals));
  return descriptor;
}

std::vector<UniqueDescriptor> one(UniqueDescriptor descriptor) {
  std::vector<UniqueDescriptor> list;
  list.push_back(std::move(descriptor));
  return list;
}

std::vector<std::uint64_t> sharedBlock(std::uint16_t index, std::uint64_t offset, std::uint64_t length) {
  return resultBody([=](wire::Result::Builder out) {
    auto shared = out.initData().initShared();
    shared.setDescriptor(index);
    shared.setOffset(offset);
    shared.setLength(length);
  });
}

const std::vector<BadInput> kFraming = {
    {"EndsInsideAHeader",
     [](RawPeer& peer) {
       peer.hello();
       auto bytes = headerBytes({});
       bytes.pop_back();
       peer.send(bytes);
       ::shutdown(peer.socket.get(), SHUT_WR);
     },
     "ended inside a frame"},
    {"EndsInsideABody",
     [](RawPeer& peer) {
       peer.hello();
       peer.send(headerBytes({.bodyLength = 800, .operation = kBookmark}));
       ::shutdown(peer.socket.get(), SHUT_WR);
     },
     "ended inside a frame"},
    {"WrongMagic", [](RawPeer& peer) { peer.send(headerBytes({.kind = FrameKind::hello}, 0, 'X')); },
     "begins with"},
    {"OtherFrameVersion", [](RawPeer& peer) { peer.send(headerBytes({.kind = FrameKind::hello}, 4, 2)); },
     "frames of version 2, we read version 1"},
    {"UnknownKind", [](RawPeer& peer) { peer.send(headerBytes({.kind = FrameKind::hello}, 6, 7)); },
     "unknown frame kind 7"},
    {"OversizedBody",
     [](RawPeer& peer) {
       peer.hello();
       peer.send(headerBytes({.bodyLength = 0xFFFFFFF8}));
     },
     "over the limit"},
    {"BodyOfHalfWords", [](RawPeer& peer) { peer.send(headerBytes({.bodyLength = 12})); }, "whole words"},
    {"CallBeforeHello",
     [](RawPeer& peer) { peer.send({.kind = FrameKind::call, .operation = kBookmark}, pathBody()); },
     "not a hello"},
    {"SecondHello",
     [](RawPeer& peer) {
       peer.hello();
       peer.hello();
     },
     "second hello"},
    {"OtherInterfaceVersion",
     [](RawPeer& peer) { peer.send({.kind = FrameKind::hello}, helloMessage(9, 9).body); },
     "speaks version 9 of the interface, we speak version 1"},
    {"LongHello",
     [](RawPeer& peer) {
       peer.send({.kind = FrameKind::hello}, {1, 2});
     },
     "one word"},
    {"MissingDescriptors",
     [](RawPeer& peer) {
       auto bytes = headerBytes({.kind = FrameKind::hello, .bodyLength = 8, .descriptors = 1});
       bytes.resize(bytes.size() + 8);
       peer.send(bytes);
     },
     "0 descriptors came with a frame that names 1"},
    {"UnnamedDescriptors",
     [](RawPeer& peer) {
       auto bytes = headerBytes({.kind = FrameKind::hello, .bodyLength = 8});
       bytes.resize(bytes.size() + 8);
       peer.send(bytes, one(memoryFile(0)));
     },
     "that no frame names"},
    {"TooManyNamedDescriptors", [](RawPeer& peer) { peer.send(headerBytes({.descriptors = 5})); },
     "5 descriptors are over the limit"},
    {"DescriptorsBesideACall",
     [](RawPeer& peer) {
       peer.hello();
       peer.send({.kind = FrameKind::call, .operation = kBookmark}, pathBody(), one(memoryFile(0)));
     },
     "a call with descriptors"},
};

const std::vector<BadInput> kCalls = {
    {"UnknownOperation",
     [](RawPeer& peer) {
       peer.hello();
       peer.send({.kind = FrameKind::call, .operation = 27}, pathBody());
     },
     "unknown operation 27"},
    {"AnIdWhereNoReplyComes",
     [](RawPeer& peer) {
       peer.hello();
       peer.send({.kind = FrameKind::call, .id = 1, .operation = kBookmark}, pathBody());
     },
     "wrong kind of id"},
    {"NoIdWhereAReplyComes",
     [](RawPeer& peer) {
       peer.hello();
       peer.send({.kind = FrameKind::call, .operation = kDelete}, pathBody());
     },
     "wrong kind of id"},
    {"AnIdInUse",
     [](RawPeer& peer) {
       peer.hello();
       peer.send({.kind = FrameKind::call, .id = 5, .operation = kDelete}, pathBody());
       peer.send({.kind = FrameKind::call, .id = 5, .operation = kDelete}, pathBody());
     },
     "id 5 is in use"},
    {"EmptyBody",
     [](RawPeer& peer) {
       peer.hello();
       peer.send({.kind = FrameKind::call, .operation = kBookmark});
     },
     "malformed"},
    {"SegmentTableBeyondTheEnd",
     [](RawPeer& peer) {
       peer.hello();
       peer.send({.kind = FrameKind::call, .operation = kBookmark}, {0x7FFFFFFF00000000, 0});
     },
     "malformed"},
    {"PointerBeyondTheEnd",
     [](RawPeer& peer) {
       auto body = pathBody();
       body[1] = 0x0001000000001000;
       peer.hello();
       peer.send({.kind = FrameKind::call, .operation = kBookmark}, body);
     },
     "malformed"},
    {"TrailingWords",
     [](RawPeer& peer) {
       auto body = pathBody();
       body.push_back(0);
       peer.hello();
       peer.send({.kind = FrameKind::call, .operation = kBookmark}, body);
     },
     "behind the end"},
    {"TooLongAText",
     [](RawPeer& peer) {
       peer.hello();
       peer.send({.kind = FrameKind::call, .operation = kBookmark},
                 pathBody(std::string((1 << 20) + 1, 'x')));
     },
     "a text of 1048577 bytes"},
    {"GarbageBehindALogRecord",
     [](RawPeer& peer) {
       auto body = pathBody();
       body.push_back(~std::uint64_t{0});
       peer.hello();
       peer.send({.kind = FrameKind::call, .operation = kLog}, body);
     },
     "malformed"},
    {"CancelWithABody",
     [](RawPeer& peer) {
       peer.hello();
       peer.send({.kind = FrameKind::cancel, .id = 1}, {1});
     },
     "cancel with a body"},
};

const std::vector<BadInput> kReplies = {
    {"ReplyToNoCall",
     [](RawPeer& peer) {
       peer.hello();
       peer.send({.kind = FrameKind::reply, .id = 99, .operation = kDelete}, resultBody([](auto) {}));
     },
     "a reply to call 99, which awaits none"},
    {"PartOfNoReply",
     [](RawPeer& peer) {
       peer.hello();
       peer.send({.kind = FrameKind::part, .id = 99, .operation = kShares}, listingBody([](auto) {}));
     },
     "which awaits none"},
    {"ProgressOfNoCall",
     [](RawPeer& peer) {
       peer.hello();
       peer.send({.kind = FrameKind::progress, .id = 99}, {1, 1});
     },
     "a progress for call 99"},
    {"ProgressOfAListing",
     [](RawPeer& peer) {
       answer(peer, kShares, {1, 1}, {}, FrameKind::progress);
     },
     "a progress for call 1"},
    {"ShortProgress", [](RawPeer& peer) { answer(peer, kDelete, {1}, {}, FrameKind::progress); },
     "two words"},
    {"PartOfAResult",
     [](RawPeer& peer) { answer(peer, kDelete, resultBody([](auto) {}), {}, FrameKind::part); },
     "comes whole"},
    {"ReplyOfAnotherOperation",
     [](RawPeer& peer) {
       peer.hello();
       peer.server->deleteItemWithPath("/p", [](auto) { FAIL(); });
       peer.skipHello();
       peer.send({.kind = FrameKind::reply, .id = peer.receive().id, .operation = kShares},
                 listingBody([](auto) {}));
     },
     "a reply to another operation"},
    {"KeyWithoutAName",
     [](RawPeer& peer) {
       answer(peer, kShares, listingBody([](wire::Listing::Builder out) {
                out.initDictionaries(1)[0].initEntries(1)[0].setKey(1);
                out.initKeys(1).set(0, "only");
              }));
     },
     "key has no name"},
    {"KeyTwiceInADictionary",
     [](RawPeer& peer) {
       answer(peer, kShares, listingBody([](wire::Listing::Builder out) {
                out.initDictionaries(1)[0].initEntries(2);
                out.initKeys(1).set(0, "key");
              }));
     },
     "a key twice"},
    {"KeyNameTwice",
     [](RawPeer& peer) {
       answer(peer, kShares, listingBody([](wire::Listing::Builder out) {
                auto keys = out.initKeys(2);
                keys.set(0, "key");
                keys.set(1, "key");
              }));
     },
     "name that comes twice"},
    {"NestedTooDeeply",
     [](RawPeer& peer) {
       answer(peer, kShares, listingBody([](wire::Listing::Builder out) {
                out.initKeys(1).set(0, "key");
                auto entry = out.initDictionaries(1)[0].initEntries(1)[0];
                for (int depth = 0; depth < 32; ++depth) entry = entry.initArray(1)[0];
                entry.setBoolean(true);
              }));
     },
     "nested over 32 deep"},
    {"UnknownTypeOfValue",
     [](RawPeer& peer) {
       auto body = listingBody([](wire::Listing::Builder out) {
         out.initKeys(1).set(0, "key");
         out.initDictionaries(1)[0].initEntries(1)[0].setInteger(0x1234567890);
       });
       // The word before the integer holds the key and, in its highest bits, the type.
       auto integer = std::ranges::find(body, 0x1234567890U);
       *std::prev(integer) |= 0x00FF000000000000;
       answer(peer, kShares, body);
     },
     "unknown type"},
    {"NotAFileUrl",
     [](RawPeer& peer) {
       answer(peer, kDelete,
              resultBody([](wire::Result::Builder out) { out.setUrl("https://example.org/x"); }));
     },
     "not a file URL"},
    {"BlockWithoutItsDescriptor", [](RawPeer& peer) { answer(peer, kRange, sharedBlock(0, 0, 100)); },
     "without its descriptor"},
    {"UnsealedBlock",
     [](RawPeer& peer) {
       answer(peer, kRange, sharedBlock(0, 0, 100'000), one(memoryFile(F_SEAL_GROW | F_SEAL_WRITE)));
     },
     "not sealed"},
    {"BlockThatIsAPipe",
     [](RawPeer& peer) {
       int ends[2];
       ASSERT_EQ(0, ::pipe2(ends, O_CLOEXEC));
       UniqueDescriptor other(ends[1]);
       answer(peer, kRange, sharedBlock(0, 0, 100'000), one(UniqueDescriptor(ends[0])));
     },
     "not sealed"},
    {"BlockThatIsTooShort",
     [](RawPeer& peer) {
       answer(peer, kRange, sharedBlock(0, 1, 100'000),
              one(memoryFile(F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SHRINK)));
     },
     "shorter than"},
};

}  // namespace

class BadInputTest : public testing::TestWithParam<BadInput> {};

// One clear line, this connection closed, and nothing delivered.
TEST_P(BadInputTest, ClosesTheConnectionWithOneLine) {
  testing::internal::CaptureStderr();
  {
    RawPeer peer;
    GetParam().send(peer);
    EXPECT_TRUE(peer.isClosed());
    EXPECT_FALSE(peer.connection->isOpen());
  }
  auto text = testing::internal::GetCapturedStderr();
  EXPECT_EQ(1, std::ranges::count(text, '\n')) << text;
  EXPECT_TRUE(text.starts_with("zelto: a connection is closed: ")) << text;
  EXPECT_NE(std::string::npos, text.find(GetParam().diagnostic)) << text;
}

std::string nameOf(const testing::TestParamInfo<BadInput>& info) { return info.param.name; }
INSTANTIATE_TEST_SUITE_P(Framing, BadInputTest, testing::ValuesIn(kFraming), nameOf);
INSTANTIATE_TEST_SUITE_P(Calls, BadInputTest, testing::ValuesIn(kCalls), nameOf);
INSTANTIATE_TEST_SUITE_P(Replies, BadInputTest, testing::ValuesIn(kReplies), nameOf);

}  // namespace zelto::test
