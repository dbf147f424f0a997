#include <fstream>
#include <random>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include "platform/messaging/SharedBlock.h"
#include "tests/messaging/ConnectedTest.h"

namespace zelto::test {

class Blocks : public ConnectedTest {
 protected:
  NSData roundTrip(NSData data) {
    NSRange range{.location = 0, .length = data.size()};
    server().downloadItemWithPath("/file", range, 1, [this](auto bytes, auto, NSRange, auto) {
      received.put(bytes.value_or(NSData()));
    });
    fake().ranges.take()(std::move(data), NSDictionary(), range, std::nullopt);
    return received.take();
  }

  Mailbox<NSData> received;
};

NSData randomBytes(std::size_t size) {
  std::vector<std::byte> bytes(size);
  std::minstd_rand random(7);
  for (std::size_t i = 0; i < size; i += 8) bytes[i] = static_cast<std::byte>(random());
  return NSData(std::move(bytes));
}

TEST_F(Blocks, AnySizeArrivesUnchanged) {
  constexpr std::size_t kLimit = 64 << 10;
  for (std::size_t size : {std::size_t{0}, std::size_t{1}, kLimit, kLimit + 1, std::size_t{64} << 20}) {
    auto data = randomBytes(size);
    EXPECT_EQ(data, roundTrip(data)) << size;
  }
}

TEST_F(Blocks, OnlyLargeBlocksGoBesideTheFrameAndAreUnmappedWithTheirLastCopy) {
  auto mappings = [] {
    std::string line;
    std::ifstream maps("/proc/self/maps");
    int count = 0;
    while (std::getline(maps, line)) count += line.find("memfd:zelto.block") != std::string::npos;
    return count;
  };
  auto small = roundTrip(randomBytes(64 << 10));
  EXPECT_EQ(0, mappings());
  {
    auto large = roundTrip(randomBytes((64 << 10) + 1));
    auto copy = large;
    large = NSData();
    // The thread that brought it lets go of its own copies a moment later.
    EXPECT_TRUE(eventually([&] { return mappings() == 1; })) << mappings();
  }
  EXPECT_TRUE(eventually([&] { return mappings() == 0; })) << mappings();
}

TEST_F(Blocks, ASealedBlockIsHandedOverWithoutACopy) {
  constexpr std::size_t kSize = std::size_t{1} << 20;
  auto block = SharedBlock::allocate(kSize);
  ASSERT_TRUE(block);
  std::ranges::fill(block->bytes(), std::byte{0x5a});
  auto data = std::move(*block).seal(kSize - 10).value();
  auto place = sealedBytes(data);
  ASSERT_TRUE(place);
  EXPECT_EQ(0U, place->offset);
  EXPECT_EQ(-1, ::ftruncate(place->descriptor, 0)) << "the block can still be cut";
  EXPECT_EQ(std::vector(kSize - 10, std::byte{0x5a}), std::vector(data.bytes().begin(), data.bytes().end()));

  // A view of a part begins and ends inside the same block.
  auto part = NSData::view(data.owner(), data.bytes().subspan(5001, 300'000));
  EXPECT_EQ(5001U, sealedBytes(part)->offset);
  EXPECT_EQ(part, roundTrip(part));
  EXPECT_FALSE(sealedBytes(NSData::copyOf("ordinary memory")));
}

TEST(MapSealedBlock, RefusesWhatCouldChangeOrIsTooShort) {
  auto descriptorOf = [](unsigned seals) {
    UniqueDescriptor descriptor(::memfd_create("test", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    EXPECT_EQ(0, ::ftruncate(descriptor.get(), 8192));
    EXPECT_EQ(0, ::fcntl(descriptor.get(), F_ADD_SEALS, seals));
    return descriptor;
  };
  EXPECT_FALSE(mapSealedBlock(descriptorOf(0), 0, 8192));
  EXPECT_FALSE(mapSealedBlock(descriptorOf(F_SEAL_WRITE | F_SEAL_GROW), 0, 8192));
  EXPECT_FALSE(mapSealedBlock(descriptorOf(F_SEAL_SHRINK | F_SEAL_GROW), 0, 8192));
  EXPECT_FALSE(mapSealedBlock(UniqueDescriptor(::open("/dev/zero", O_RDONLY | O_CLOEXEC)), 0, 8192));
  auto sealed = descriptorOf(F_SEAL_WRITE | F_SEAL_GROW | F_SEAL_SHRINK);
  EXPECT_TRUE(mapSealedBlock(sealed, 0, 8192));
  EXPECT_TRUE(mapSealedBlock(sealed, 8191, 1));
  EXPECT_TRUE(mapSealedBlock(sealed, 8192, 0));
  EXPECT_FALSE(mapSealedBlock(sealed, 8191, 2));
  EXPECT_FALSE(mapSealedBlock(sealed, 8193, 0));
  EXPECT_FALSE(mapSealedBlock(sealed, 1, ~std::uint64_t{0}));
}

}  // namespace zelto::test
