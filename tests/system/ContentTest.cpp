#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/system/TestSystem.h"

namespace zelto::test {
namespace {

constexpr std::int64_t kMiB = 1 << 20;
constexpr std::int64_t kBig = 1024 * kMiB;

// A file of holes with marks, so that it costs the disk nothing and every place can be told.
void makeBigFile(const fs::path& path) {
  const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
  ASSERT_EQ(::ftruncate(descriptor, kBig), 0);
  for (std::int64_t at = 0; at < kBig; at += 16 * kMiB + 4096) {
    const std::string mark = "mark at " + std::to_string(at) + "\n";
    ASSERT_GT(::pwrite(descriptor, mark.data(), mark.size(), at), 0);
  }
  ::close(descriptor);
}

std::string readAt(const fs::path& path, std::int64_t offset, std::size_t length) {
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  std::string bytes(length, '\0');
  const ssize_t count = ::pread(descriptor, bytes.data(), length, offset);
  ::close(descriptor);
  bytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  return bytes;
}

bool sameContent(const fs::path& a, const fs::path& b) {
  const int first = ::open(a.c_str(), O_RDONLY | O_CLOEXEC);
  const int second = ::open(b.c_str(), O_RDONLY | O_CLOEXEC);
  std::vector<char> x(4 * kMiB), y(4 * kMiB);
  bool same = first >= 0 && second >= 0;
  for (std::int64_t at = 0; same && at < kBig; at += 4 * kMiB) {
    same = ::pread(first, x.data(), x.size(), at) == 4 * kMiB &&
           ::pread(second, y.data(), y.size(), at) == 4 * kMiB && x == y;
  }
  ::close(first);
  ::close(second);
  return same;
}

std::string materialised(TestSystem& system, const fs::path& path) {
  const NSDictionary item = system.item(path);
  const PropertyListValue* const state = item.find("materialised");
  return state != nullptr && state->asString() != nullptr ? *state->asString() : "unknown";
}

TEST(ContentTest, ALookIntoTheMiddleFetchesLittleAndAReadThroughAllOfItOnce) {
  TestSystem system;
  makeBigFile(system.share() / "big");
  system.start();
  const fs::path big = system.mounted() / "big";
  const std::int64_t middle = 32 * (16 * kMiB + 4096);
  ASSERT_EQ(readAt(big, middle - 100, 65536), readAt(system.share() / "big", middle - 100, 65536));
  EXPECT_LE(system.hostBytes(), kMiB);
  EXPECT_EQ(materialised(system, big), "partial");

  EXPECT_TRUE(sameContent(system.share() / "big", big));
  EXPECT_TRUE(eventually([&] { return materialised(system, big) == "full"; }));
  const std::int64_t calls = system.hostCalls("downloadItem");
  EXPECT_TRUE(sameContent(system.share() / "big", big));

  system.extension().kill(SIGKILL);
  system.startExtension();
  system.waitUntilConnected();
  EXPECT_TRUE(sameContent(system.share() / "big", big));
  EXPECT_EQ(system.hostCalls("downloadItem"), calls);
}

TEST(ContentTest, EvictedContentIsFetchedAgain) {
  TestSystem system;
  writeFile(system.share() / "folder" / "file", "some text");
  system.start();
  const fs::path file = system.mounted() / "folder" / "file";
  EXPECT_EQ(readFile(file), "some text");
  EXPECT_EQ(materialised(system, file), "full");
  const auto freed = system.callManager("Evict", "ay", {BusBytes{(system.mounted() / "folder").string()}});
  ASSERT_TRUE(freed.has_value());
  EXPECT_EQ(std::get<std::uint64_t>(freed->at(0)), 9U);
  EXPECT_EQ(materialised(system, file), "none");
  EXPECT_EQ(readFile(file), "some text");
  EXPECT_EQ(system.hostBytes(), 18);
}

TEST(ContentTest, FetchBringsAnUnknownFileHereWithProgress) {
  TestSystem system;
  writeFile(system.share() / "deep" / "er" / "file", std::string(40 * kMiB, 'f'));
  system.start();
  const fs::path file = system.mounted() / "deep" / "er" / "file";
  std::atomic<bool> finished = false;
  std::string error = "none heard";
  std::uint64_t last = 0;
  const auto handle =
      system.bus().matchSignal("/it/pellam/Zelto/FileProvider/test", "it.pellam.Zelto.FileProvider1",
                               "FetchProgress", [&](const std::string&, BusArguments arguments) {
                                 last = std::get<std::uint64_t>(arguments.at(1));
                                 if (!std::get<bool>(arguments.at(3))) return;
                                 error = std::get<std::string>(arguments.at(4));
                                 finished = true;
                               });
  ASSERT_TRUE(system.callManager("Fetch", "ay", {BusBytes{file.string()}}).has_value());
  ASSERT_TRUE(eventually([&] { return finished.load(); }));
  EXPECT_EQ(error, "");
  EXPECT_EQ(last, 40U * kMiB);
  EXPECT_EQ(materialised(system, file), "full");
}

}  // namespace
}  // namespace zelto::test
