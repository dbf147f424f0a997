#include <algorithm>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "tests/system/TestSystem.h"

namespace zelto::test {
namespace {

// A real tree of thousands of files where the machine has one.
void serveHeaders(const TestSystem& system) {
  for (const char* folder : {"c++", "linux", "openssl"}) {
    const fs::path from = fs::path("/usr/include") / folder;
    if (fs::exists(from))
      fs::copy(from, system.share() / folder, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
  }
  writeFile(system.share() / "own" / "empty", "");
  writeFile(system.share() / "own" / "large", std::string(3 << 20, 'x') + "end");
  fs::create_symlink("large", system.share() / "own" / "link");
  fs::create_symlink("/nowhere", system.share() / "own" / "dangling");
}

TEST(BrowseTest, CopiedTreeEqualsTheServedOneAlsoAfterEitherSideWasKilled) {
  TestSystem system;
  serveHeaders(system);
  system.start();
  const fs::path copy = system.data() / "copy";
  fs::copy(system.mounted(), copy, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
  EXPECT_EQ(treeDifference(system.share(), copy), "");

  system.extension().kill(SIGKILL);
  system.startExtension();
  system.waitUntilConnected();
  EXPECT_EQ(treeDifference(system.share(), system.mounted()), "");

  system.host().kill(SIGKILL);
  system.startHost();
  writeFile(system.share() / "own" / "later", "after the host came back");
  EXPECT_TRUE(eventually([&] { return fs::exists(system.mounted() / "own" / "later"); }));
  EXPECT_EQ(treeDifference(system.share(), system.mounted()), "");
}

TEST(BrowseTest, InodesStayOverARestart) {
  TestSystem system;
  writeFile(system.share() / "folder" / "file", "text");
  system.start();
  const auto inode = [&] {
    struct stat attributes {};
    EXPECT_EQ(::stat((system.mounted() / "folder" / "file").c_str(), &attributes), 0);
    return attributes.st_ino;
  };
  const ino_t before = inode();
  system.extension().kill(SIGTERM);
  system.startExtension();
  EXPECT_EQ(inode(), before);
}

TEST(BrowseTest, ModesComeFromWhatTheHostAllows) {
  TestSystem system;
  writeFile(system.share() / "file", "text");
  system.start();
  struct stat attributes {};
  ASSERT_EQ(::stat((system.mounted() / "file").c_str(), &attributes), 0);
  EXPECT_EQ(attributes.st_mode, static_cast<mode_t>(S_IFREG | 0644));
  EXPECT_EQ(attributes.st_uid, ::getuid());
  ASSERT_EQ(::stat(system.mounted().c_str(), &attributes), 0);
  EXPECT_EQ(attributes.st_mode, static_cast<mode_t>(S_IFDIR | 0755));
  ASSERT_EQ(::stat(system.mount().c_str(), &attributes), 0);
  EXPECT_EQ(attributes.st_mode, static_cast<mode_t>(S_IFDIR | 0555));
  struct statvfs disk {};
  ASSERT_EQ(::statvfs(system.mount().c_str(), &disk), 0);
  EXPECT_GT(disk.f_bavail, 0U);
  EXPECT_EQ(::getxattr((system.mounted() / "file").c_str(), "security.capability", nullptr, 0), -1);
  EXPECT_EQ(errno, ENODATA);
}

TEST(BrowseTest, ListingsAtTheSameTimeReachTheHostOnce) {
  TestSystem system;
  for (int i = 0; i < 3000; ++i) writeFile(system.share() / "many" / std::to_string(i), "x");
  system.start();
  ASSERT_EQ(names(system.mounted()), std::vector<std::string>{"many"});
  system.host().signal(SIGSTOP);
  const auto before = system.status().find("requestsInFlight")->integerValue();
  std::vector<std::thread> readers;
  std::vector<std::size_t> counts(4);
  std::vector<std::string> first(4);
  for (std::size_t i = 0; i < counts.size(); ++i) {
    readers.emplace_back([&, i] {
      const auto all = names(system.mounted() / "many");
      counts[i] = all.size();
      first[i] = all.front();
    });
  }
  EXPECT_TRUE(eventually([&] { return system.status().find("requestsInFlight")->integerValue() > before; }));
  system.host().signal(SIGCONT);
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(counts, std::vector<std::size_t>(4, 3000)) << ::testing::PrintToString(first);
  EXPECT_EQ(system.hostCalls("metadataForDirectory"), 2);  // the share, and the folder once
}

TEST(BrowseTest, NamesAreShownFaithfullyOrLeftOut) {
  TestSystem system;
  std::vector<std::string> shown{
      "with space",          "quote'\"", "line\nbreak", "tab\tback\\slash", "caf\u00e9", "cafe\u0301",
      std::string(255, 'n'), "-dash",    "%41",         "日本語",           ".hidden",   "a:b*c?"};
  for (const std::string& name : shown) writeFile(system.share() / name, name);
  writeFile(system.share() / "bad\xff\xfename", "never shown");
  system.start();
  std::ranges::sort(shown);
  EXPECT_EQ(names(system.mounted()), shown);
  for (const std::string& name : shown) EXPECT_EQ(readFile(system.mounted() / name), name);
  EXPECT_TRUE(eventually([&] { return system.hostLog().find("bad") != std::string::npos; }));
}

}  // namespace
}  // namespace zelto::test
