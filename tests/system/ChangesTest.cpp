#include <atomic>
#include <chrono>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/system/TestSystem.h"

namespace zelto::test {
namespace {

TEST(ChangesTest, WhatHappensInTheServedFolderShowsInTheMount) {
  TestSystem system;
  writeFile(system.share() / "folder" / "changed", "before");
  writeFile(system.share() / "folder" / "deleted", "gone soon");
  writeFile(system.share() / "folder" / "renamed", "same text");
  writeFile(system.share() / "tree" / "below" / "file", "deep");
  system.start();
  const fs::path folder = system.mounted() / "folder";
  ASSERT_EQ(treeDifference(system.share(), system.mounted()), "");
  ASSERT_FALSE(fs::exists(folder / "added"));

  const auto start = std::chrono::steady_clock::now();
  writeFile(system.share() / "folder" / "changed", "after, and longer");
  fs::remove(system.share() / "folder" / "deleted");
  fs::rename(system.share() / "folder" / "renamed", system.share() / "folder" / "newname");
  writeFile(system.share() / "folder" / "added", "new");
  fs::rename(system.share() / "tree", system.share() / "moved");
  EXPECT_TRUE(eventually([&] { return treeDifference(system.share(), system.mounted()).empty(); }))
      << treeDifference(system.share(), system.mounted());
  RecordProperty("milliseconds",
                 static_cast<int>((std::chrono::steady_clock::now() - start) / std::chrono::milliseconds(1)));
  EXPECT_FALSE(fs::exists(folder / "deleted"));
  EXPECT_FALSE(fs::exists(folder / "renamed"));
}

TEST(ChangesTest, ChangesWhileOneSideWasAwayShowWhenItIsBack) {
  TestSystem system;
  writeFile(system.share() / "folder" / "file", "before");
  system.start();
  ASSERT_EQ(readFile(system.mounted() / "folder" / "file"), "before");
  system.extension().kill(SIGKILL);
  writeFile(system.share() / "folder" / "file", "while the extension was away");
  system.startExtension();
  system.waitUntilConnected();
  EXPECT_TRUE(eventually(
      [&] { return readFile(system.mounted() / "folder" / "file") == "while the extension was away"; }));
  system.host().kill(SIGKILL);
  writeFile(system.share() / "folder" / "file", "while the host was away");
  writeFile(system.share() / "folder" / "more", "x");
  system.startHost();
  EXPECT_TRUE(eventually([&] { return treeDifference(system.share(), system.mounted()).empty(); }))
      << treeDifference(system.share(), system.mounted()) << system.hostLog();
}

TEST(ChangesTest, ChangesWhileBothWereAwayAreThereOnceTheyAreConnected) {
  TestSystem system;
  writeFile(system.share() / "folder" / "file", "before");
  writeFile(system.share() / "folder" / "gone", "x");
  system.start();
  ASSERT_EQ(treeDifference(system.share(), system.mounted()), "");
  system.extension().kill(SIGTERM);
  system.host().kill(SIGKILL);
  writeFile(system.share() / "folder" / "file", "after");
  writeFile(system.share() / "folder" / "more", "x");
  fs::remove(system.share() / "folder" / "gone");
  system.start();
  EXPECT_EQ(treeDifference(system.share(), system.mounted()), "");
}

// One version of the file: one letter throughout.
std::string version(char letter, std::size_t size) { return std::string(size, letter); }

bool isOneVersion(const std::string& content) {
  return content.starts_with("errno ") || content.find_first_not_of(content[0]) == std::string::npos;
}

// The file is replaced again and again while it is read: every read is one version or an error.
void expectNoMixture(TestSystem& system, std::size_t size) {
  const fs::path served = system.share() / "file";
  writeFile(served, version('a', size));
  system.start();
  std::atomic<bool> stop = false;
  std::thread writer([&] {
    for (char letter = 'b'; !stop; letter = letter == 'z' ? 'a' : static_cast<char>(letter + 1)) {
      writeFile(system.served() / "next", version(letter, size + static_cast<std::size_t>(letter)));
      fs::rename(system.served() / "next", served);
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  });
  int whole = 0;
  for (int round = 0; round < 60; ++round) {
    const std::string content = readFile(system.mounted() / "file");
    EXPECT_TRUE(isOneVersion(content)) << "a mixture of versions in round " << round;
    if (!content.starts_with("errno")) ++whole;
  }
  stop = true;
  writer.join();
  EXPECT_GT(whole, 0);
  EXPECT_TRUE(eventually([&] { return readFile(system.mounted() / "file") == readFile(served); }));
}

TEST(ChangesTest, ASmallFileIsNeverAMixtureOfVersions) {
  TestSystem system;
  expectNoMixture(system, 5000);
}

TEST(ChangesTest, ALargeFileIsNeverAMixtureOfVersions) {
  TestSystem system;
  expectNoMixture(system, 6 << 20);
}

TEST(ChangesTest, AnOpenFileKeepsItsVersion) {
  TestSystem system;
  const fs::path served = system.share() / "file";
  writeFile(served, "the first version");
  system.start();
  const fs::path file = system.mounted() / "file";
  const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_GE(descriptor, 0);
  writeFile(served, "2nd");
  EXPECT_TRUE(eventually([&] { return readFile(file) == "2nd"; }));
  std::string old(100, '\0');
  old.resize(static_cast<std::size_t>(::pread(descriptor, old.data(), old.size(), 0)));
  EXPECT_EQ(old, "the first version");
  ::close(descriptor);
}

}  // namespace
}  // namespace zelto::test
