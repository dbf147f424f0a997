#include <random>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>

#include "hostapp/BackendErrors.h"
#include "hostapp/LocalFolderBackend.h"
#include "hostapp/RangeReader.h"
#include "platform/messaging/SharedBlock.h"
#include "tests/hostapp/RestlessBackend.h"
#include "tests/hostapp/ServerFolder.h"

namespace zelto::test {
namespace {

constexpr std::uint64_t kMax = std::numeric_limits<std::uint64_t>::max();

TEST(DeliveredRange, IsWidenedAndCut) {
  const auto delivered = [](std::uint64_t location, std::uint64_t length, std::int64_t alignment,
                            std::uint64_t size) {
    return deliveredRange({location, length}, alignment, size);
  };
  EXPECT_EQ((NSRange{4096, 8192}), delivered(5000, 5000, 4096, 100'000));
  EXPECT_EQ((NSRange{4096, 4096}), delivered(4096, 4096, 4096, 100'000));
  EXPECT_EQ((NSRange{98304, 1696}), delivered(99'000, 10, 4096, 100'000)) << "the end of the file";
  EXPECT_EQ((NSRange{5000, 5000}), delivered(5000, 5000, 0, 100'000));
  EXPECT_EQ((NSRange{5000, 5000}), delivered(5000, 5000, 1, 100'000));
  EXPECT_EQ((NSRange{5000, 5000}), delivered(5000, 5000, -4096, 100'000));
  EXPECT_EQ((NSRange{9, 9}), delivered(10, 7, 9, 100'000)) << "any step";
  EXPECT_EQ((NSRange{0, 0}), delivered(0, 0, 4096, 100'000));
  EXPECT_EQ((NSRange{100'000, 0}), delivered(200'000, 10, 4096, 100'000));
  EXPECT_EQ((NSRange{0, 0}), delivered(0, 10, 4096, 0));
  EXPECT_EQ((NSRange{0, 100'000}), delivered(0, kMax, 4096, 100'000));
  EXPECT_EQ((NSRange{kMax - 10, 10}), delivered(kMax - 10, kMax, 0, kMax));
}

TEST(DeliveredRange, KeepsItsRulesForAnyRequest) {
  std::mt19937_64 random(12);
  for (int round = 0; round < 20'000; ++round) {
    const std::uint64_t size = random() >> (random() % 64);
    const NSRange asked{random() >> (random() % 64), random() >> (random() % 64)};
    const auto alignment = static_cast<std::int64_t>(random() >> (random() % 64));
    const auto range = deliveredRange(asked, alignment, size);
    ASSERT_LE(range.length, kLongestRange);
    ASSERT_LE(range.location, size);
    ASSERT_LE(range.length, size - range.location);
    if (asked.length == 0 || asked.location >= size) {
      ASSERT_EQ(0U, range.length);
      continue;
    }
    ASSERT_LE(range.location, asked.location);
    // The first byte asked for is always there, so that whoever asks on gets on.
    ASSERT_GT(range.length, asked.location - range.location);
    if (alignment <= 1 || static_cast<std::uint64_t>(alignment) > kLongestRange) continue;
    ASSERT_EQ(0U, range.location % static_cast<std::uint64_t>(alignment));
    if (range.end() != size) {
      ASSERT_EQ(0U, range.end() % static_cast<std::uint64_t>(alignment));
    }
  }
}

class RangeReaderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    server.folder("share");
    backend = *LocalFolderBackend::serving(server.root());
  }
  ServerFolder server;
  std::shared_ptr<LocalFolderBackend> backend;
};

TEST_F(RangeReaderTest, ReadsSmallAndLargeBlocks) {
  std::string content(300'000, '\0');
  std::mt19937 random(3);
  for (auto& c : content) c = static_cast<char>(random());
  server.write("share/file", content);
  const auto small = readRange(*backend, "share/file", {100, 50}, 64);
  ASSERT_TRUE(small);
  EXPECT_EQ((NSRange{64, 128}), small->range);
  EXPECT_EQ(std::string_view(content).substr(64, 128), small->data.text());
  EXPECT_FALSE(sealedBytes(small->data)) << "travels inside the message";
  EXPECT_EQ(300'000U, small->entry.stat.size);
  const auto large = readRange(*backend, "share/file", {1, 200'000}, 4096);
  ASSERT_TRUE(large);
  EXPECT_EQ(std::string_view(content).substr(0, 200'704), large->data.text());
  EXPECT_TRUE(sealedBytes(large->data)) << "travels as a descriptor";
  const auto empty = readRange(*backend, "share/file", {0, 0}, 4096);
  ASSERT_TRUE(empty);
  EXPECT_EQ((NSRange{0, 0}), empty->range);
  EXPECT_TRUE(empty->data.empty());
}

TEST_F(RangeReaderTest, MissingFilesAndFoldersAreErrors) {
  EXPECT_TRUE(isNoSuchItem(readRange(*backend, "share/none", {0, 1}, 0).error()));
  EXPECT_FALSE(readRange(*backend, "share", {0, 1}, 0));
}

TEST_F(RangeReaderTest, AFileThatChangesMeanwhileIsReadAgain) {
  server.write("share/file", "content");
  RestlessBackend twice(backend, 2);
  EXPECT_EQ("content", readRange(twice, "share/file", {0, 7}, 0)->data.text());
  EXPECT_EQ(3, twice.opened);
  RestlessBackend always(backend, 1'000);
  const auto failed = readRange(always, "share/file", {0, 7}, 0);
  ASSERT_FALSE(failed);
  EXPECT_NE(std::string::npos, failed.error().localizedDescription().find("share/file"));
}

// A file that is replaced in place while it is read is never handed over mixed.
TEST_F(RangeReaderTest, NeverMixesVersions) {
  constexpr std::size_t kSize = 1 << 20;
  server.write("share/file", std::string(kSize, 'a'));
  std::atomic<bool> done = false;
  std::thread writer([this, &done] {
    char letter = 'b';
    while (!done) {
      const std::string content(kSize, letter);
      const int file = ::open(server.path("share/file").c_str(), O_WRONLY);
      [[maybe_unused]] const auto written = ::write(file, content.data(), content.size());
      ::close(file);
      letter = letter == 'z' ? 'a' : static_cast<char>(letter + 1);
      std::this_thread::sleep_for(std::chrono::milliseconds(letter % 5 == 0 ? 40 : 0));
    }
  });
  int delivered = 0;
  for (int round = 0; round < 30; ++round) {
    const auto content = readRange(*backend, "share/file", {0, kSize}, 0);
    if (!content) {
      EXPECT_NE(std::string::npos, content.error().localizedDescription().find("keeps changing"));
      continue;
    }
    ++delivered;
    const auto text = content->data.text();
    EXPECT_EQ(std::string_view::npos, text.find_first_not_of(text.front())) << "two versions in one reply";
  }
  done = true;
  writer.join();
  RecordProperty("delivered", delivered);
}

}  // namespace
}  // namespace zelto::test
