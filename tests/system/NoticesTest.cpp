#include <algorithm>
#include <chrono>
#include <map>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/system/FolderWatch.h"
#include "tests/system/Settled.h"
#include "tests/system/TestSystem.h"

namespace zelto::test {
namespace {

// Programs that watch a folder of the mount hear of what happens on the server.
struct NoticesTest : ::testing::Test {
  TestSystem system;
  fs::path served = system.share() / "folder";
  fs::path folder = system.mounted() / "folder";

  NoticesTest() { fs::create_directories(served); }

  // As a file browser opens a window: it watches the folder and lists it.
  std::unique_ptr<FolderWatch> open(const fs::path& path) {
    auto watch = std::make_unique<FolderWatch>(path);
    names(path);
    return watch;
  }
  // Something else has been told behind all that was to be told before.
  void waitForLater(FolderWatch& watch, const std::string& name) {
    writeFile(served / name, "later");
    EXPECT_EQ(watch.waitFor(IN_CREATE, name), "");
  }
  void expectNothingPending() {
    EXPECT_EQ(pendingNow(system), "[]");
    EXPECT_EQ(countOf(system, "pending"), 0);
  }
  // The one of this computer gives way to the server's, under another name.
  void changeOnBothSides(const std::string& name) {
    system.host().signal(SIGSTOP);
    writeFile(folder / name, "here");
    writeFile(served / name, "there, and longer");
    system.host().signal(SIGCONT);
    EXPECT_EQ(waitUntilSettled(system), "");
  }
  // Whoever listed the names here would have found the new one before it is told.
  std::string keptNameOf(const std::string& stem) const {
    for (const std::string& name : names(served)) {
      if (name.starts_with(stem + " (conflict")) return name;
    }
    return "";
  }
};

struct stat statusOf(const fs::path& path) {
  struct stat status {};
  EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
  return status;
}

TEST_F(NoticesTest, EachKindOfChangeIsSeenByName) {
  writeFile(served / "grows", "before");
  writeFile(served / "goes", "x");
  writeFile(served / "dated", "x");
  fs::create_directories(served / "empty");
  writeFile(served / "full" / "inside", "x");
  fs::create_symlink("goes", served / "link");
  writeFile(served / "old name", "renamed");
  system.start();
  const auto watch = open(folder);
  ASSERT_EQ(treeDifference(served, folder), "");

  writeFile(served / "file", "content");
  fs::create_directories(served / "new" / "deeper");
  fs::create_symlink("file", served / "new link");
  writeFile(served / "grows", "after, and longer");
  fs::remove(served / "goes");
  fs::remove(served / "link");
  fs::remove(served / "empty");
  fs::remove_all(served / "full");
  fs::rename(served / "old name", served / "new name");
  const std::timespec dates[] = {{1'600'000'000, 0}, {1'600'000'000, 0}};
  ASSERT_EQ(::utimensat(AT_FDCWD, (served / "dated").c_str(), dates, 0), 0);

  EXPECT_EQ(watch->waitFor(IN_CREATE, "file"), "");
  EXPECT_EQ(watch->waitFor(IN_CREATE | IN_ISDIR, "new"), "");
  EXPECT_EQ(watch->waitFor(IN_CREATE, "new link"), "");
  EXPECT_EQ(watch->waitFor(IN_MODIFY, "grows"), "");
  EXPECT_EQ(watch->waitFor(IN_ATTRIB, "grows"), "");
  EXPECT_EQ(watch->waitFor(IN_ATTRIB, "dated"), "");
  EXPECT_EQ(watch->waitFor(IN_DELETE, "goes"), "");
  EXPECT_EQ(watch->waitFor(IN_DELETE, "link"), "");
  EXPECT_EQ(watch->waitFor(IN_DELETE | IN_ISDIR, "empty"), "");
  EXPECT_EQ(watch->waitFor(IN_DELETE | IN_ISDIR, "full"), "");
  EXPECT_EQ(watch->waitFor(IN_DELETE, "old name"), "");
  EXPECT_EQ(watch->waitFor(IN_CREATE, "new name"), "");
  EXPECT_EQ(treeDifference(served, folder), "");
  EXPECT_EQ(statusOf(folder / "dated").st_mtim.tv_sec, 1'600'000'000);
  EXPECT_EQ(statusOf(folder / "grows").st_mtim.tv_sec, statusOf(served / "grows").st_mtim.tv_sec);
  EXPECT_EQ(statusOf(folder / "file").st_mode & 0777, statusOf(served / "file").st_mode & 0777);
  expectNothingPending();
}

// Who hears of an event looks at once; what it sees is what happened.
TEST_F(NoticesTest, WhatIsSeenAfterAnEventIsTrueAndComesWithinASecond) {
  system.start();
  const auto watch = open(folder);
  std::vector<std::chrono::steady_clock::duration> delays;
  for (int round = 0; round < 20; ++round) {
    const std::string name = "file " + std::to_string(round);
    const auto start = std::chrono::steady_clock::now();
    writeFile(served / name, name);
    ASSERT_EQ(watch->waitFor(IN_CREATE, name), "");
    delays.push_back(std::chrono::steady_clock::now() - start);
    EXPECT_TRUE(fs::exists(folder / name));
    EXPECT_TRUE(eventually([&] { return readFile(folder / name) == name; }));
    fs::remove(served / name);
    ASSERT_EQ(watch->waitFor(IN_DELETE, name), "");
    EXPECT_FALSE(fs::exists(folder / name));
  }
  std::ranges::sort(delays);
  RecordProperty("medianMilliseconds", static_cast<int>(delays[10] / std::chrono::milliseconds(1)));
}

TEST_F(NoticesTest, AMoveThatKeepsTheItemIsAMove) {
  writeFile(served / "report.txt", "first");
  system.start();
  const auto watch = open(folder);
  ASSERT_EQ(readFile(folder / "report.txt"), "first");
  changeOnBothSides("report.txt");
  const std::string kept = keptNameOf("report");
  ASSERT_NE(kept, "");
  EXPECT_TRUE(eventually([&] { return watch->sawMove("report.txt", kept); }))
      << ::testing::PrintToString(watch->all());
  EXPECT_EQ(watch->waitFor(IN_CREATE, "report.txt"), "");
  EXPECT_EQ(readFile(folder / kept), "here");
  EXPECT_TRUE(eventually([&] { return readFile(folder / "report.txt") == "there, and longer"; }));
}

// The kernel knows the new item by the old name already when it is told of the move.
TEST_F(NoticesTest, AMoveLeavesWhatTookItsPlaceThere) {
  constexpr int kFiles = 8;
  const auto stem = [](int i) { return "report" + std::to_string(i); };
  for (int i = 0; i < kFiles; ++i) writeFile(served / (stem(i) + ".txt"), "first");
  system.start();
  const auto watch = open(folder);
  for (int i = 0; i < kFiles; ++i) {
    const std::string name = stem(i) + ".txt";
    EXPECT_EQ(readFile(folder / name), "first");
    {
      const std::jthread looking([path = (folder / name).string()](const std::stop_token& end) {
        struct stat ignored {};
        while (!end.stop_requested()) ::lstat(path.c_str(), &ignored);
      });
      changeOnBothSides(name);
      const std::string kept = keptNameOf(stem(i));
      EXPECT_TRUE(eventually([&] { return watch->saw(IN_CREATE, kept) || watch->saw(IN_MOVED_TO, kept); }));
    }
    EXPECT_EQ(readFile(folder / keptNameOf(stem(i))), "here");
    EXPECT_EQ(readFile(folder / name), "there, and longer");
  }
}

TEST_F(NoticesTest, AFolderInUseStaysUsable) {
  writeFile(served / "work" / "file", "x");
  system.start();
  const auto watch = open(folder);
  const int inside = ::open((folder / "work").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_GE(inside, 0);
  const auto deeper = open(folder / "work");
  writeFile(served / "work" / "added", "y");
  EXPECT_EQ(deeper->waitFor(IN_CREATE, "added"), "");
  struct stat status {};
  EXPECT_EQ(::fstatat(inside, "added", &status, 0), 0);
  ::close(inside);
  fs::remove_all(served / "work");
  EXPECT_EQ(watch->waitFor(IN_DELETE | IN_ISDIR, "work"), "");
  writeFile(served / "work" / "again", "z");
  EXPECT_EQ(watch->waitFor(IN_CREATE | IN_ISDIR, "work"), "");
  EXPECT_TRUE(eventually([&] { return readFile(folder / "work" / "again") == "z"; }));
}

// The first of the burst's files of which the events tell something else than that every other one is there.
std::string wrongCount(FolderWatch& watch, int files) {
  std::map<std::string, int> there;
  for (const std::string& event : watch.all()) {
    if (event.starts_with("100 ")) ++there[event.substr(4)];
    if (event.starts_with("200 ")) --there[event.substr(4)];
  }
  for (int i = 0; i < files; ++i) {
    const std::string name = "file " + std::to_string(i);
    if (there[name] != i % 2) return name + ": " + std::to_string(there[name]);
  }
  return "";
}

TEST_F(NoticesTest, ABurstOfThousandsIsFollowedByTheRightState) {
  constexpr int kFiles = 2000;
  system.start();
  const auto watch = open(folder);
  for (int i = 0; i < kFiles; ++i) writeFile(served / ("file " + std::to_string(i)), "x");
  for (int i = 0; i < kFiles; i += 2) fs::remove(served / ("file " + std::to_string(i)));
  // Whoever counts what came and went has the right names in the end. Nobody looks into the folder meanwhile:
  // of a name that somebody has found already no creation is told.
  std::string wrong;
  EXPECT_TRUE(
      eventually([&] { return (wrong = wrongCount(*watch, kFiles)).empty(); }, std::chrono::seconds(60)))
      << wrong;
  EXPECT_TRUE(eventually([&] { return names(served) == names(folder); }, std::chrono::seconds(60)));
  EXPECT_EQ(treeDifference(served, folder), "");
  expectNothingPending();
}

// Killed while it raises events, it is gone at once: its own thread does not wait for what nobody answers.
TEST_F(NoticesTest, AKilledExtensionEndsAlsoInTheMiddleOfEvents) {
  constexpr int kRounds = 8;
  constexpr int kFiles = 400;
  system.start();
  for (int round = 0; round < kRounds; ++round) {
    const auto watch = open(folder);
    const std::string prefix = std::to_string(round) + "-";
    for (int i = 0; i < kFiles; ++i) writeFile(served / (prefix + std::to_string(i)), "x");
    EXPECT_TRUE(eventually([&] { return !watch->all().empty(); }));
    system.extension().signal(SIGKILL);
    int status = 0;
    ASSERT_TRUE(system.extension().waitForEnd(std::chrono::seconds(20), &status));
    system.startExtension();
    system.waitUntilConnected();
  }
  waitForLater(*open(folder), "later");
  EXPECT_EQ(readFile(folder / "later"), "later");
  expectNothingPending();
}

TEST_F(NoticesTest, AnEndInTheMiddleOfEventsIsAnEnd) {
  constexpr int kFiles = 2000;
  system.start();
  const auto watch = open(folder);
  for (int i = 0; i < kFiles; ++i) writeFile(served / std::to_string(i), "x");
  EXPECT_TRUE(eventually([&] { return !watch->all().empty(); }));
  system.extension().signal(SIGTERM);
  int status = -1;
  ASSERT_TRUE(system.extension().waitForEnd(std::chrono::seconds(10), &status));
  EXPECT_EQ(status, 0);
}

// What somebody else has mounted over a folder is not ours to change.
TEST_F(NoticesTest, WhatIsMountedOverAFolderIsLeftAlone) {
  writeFile(served / "sub" / "file", "x");
  system.start();
  const auto watch = open(folder);
  const auto below = open(folder / "sub");
  const fs::path sub = folder / "sub";
  if (::mount("none", sub.c_str(), "tmpfs", 0, nullptr) != 0) GTEST_SKIP() << "may not mount";
  writeFile(sub / "file", "the user's own");
  const std::timespec long_ago[] = {{1'500'000'000, 0}, {1'500'000'000, 0}};
  EXPECT_EQ(::utimensat(AT_FDCWD, sub.c_str(), long_ago, 0), 0);
  writeFile(served / "sub" / "added", "x");
  fs::remove(served / "sub" / "file");
  fs::permissions(served / "sub", fs::perms::owner_all);
  waitForLater(*watch, "later");
  EXPECT_EQ(names(sub), std::vector<std::string>{"file"});
  EXPECT_EQ(readFile(sub / "file"), "the user's own");
  EXPECT_EQ(statusOf(sub).st_mtim.tv_sec, 1'500'000'000);
  EXPECT_EQ(::umount(sub.c_str()), 0);
  EXPECT_TRUE(eventually([&] { return treeDifference(served, folder).empty(); }));
}

}  // namespace
}  // namespace zelto::test
