#include <algorithm>
#include <fstream>

#include <fcntl.h>
#include <unistd.h>

#include "tests/hostapp/HostFixture.h"

namespace zelto::test {
namespace {

// Changes on the server, as the extension is told of them.
class FolderWatcherTest : public HostFixture {};

TEST_F(FolderWatcherTest, FilesThatAppearChangeAndGo) {
  server.write("share/kept", "1");
  start();
  list("/My Files/share");
  server.write("share/new", "12");
  auto changes = awaitUpdate("/My Files/share/new");
  EXPECT_EQ(2, changes.update("/My Files/share/new")->find("size")->integerValue());
  EXPECT_GT(signals, 0);
  server.write("share/kept", "longer");
  changes = awaitUpdate("/My Files/share/kept");
  EXPECT_EQ(6, changes.update("/My Files/share/kept")->find("size")->integerValue());
  server.remove("share/new");
  changes = awaitDeletion("/My Files/share/new");
  EXPECT_FALSE(changes.hasUpdate("/My Files/share/new"));
}

TEST_F(FolderWatcherTest, AFolderIsWatchedOnceItHasBeenListed) {
  server.write("share/listed/file", "1");
  server.write("share/unlisted/file", "1");
  start();
  list("/My Files/share");
  list("/My Files/share/listed");
  server.write("share/unlisted/file", "22");
  server.write("share/listed/file", "22");
  const auto changes = awaitUpdate("/My Files/share/listed/file");
  EXPECT_FALSE(changes.hasUpdate("/My Files/share/unlisted/file"));
}

TEST_F(FolderWatcherTest, SmallestChangesAreSeen) {
  server.write("share/file", "same size");
  start();
  list("/My Files/share");
  const auto before = server.status("share/file");
  // Other content, but size and modification time as before.
  server.write("share/file", "size same");
  const timespec times[2] = {before.st_atim, before.st_mtim};
  ::utimensat(AT_FDCWD, server.path("share/file").c_str(), times, 0);
  awaitUpdate("/My Files/share/file");
  ::chmod(server.path("share/file").c_str(), 0444);
  const auto changes = takeUntil([](const Changes& c) {
    const auto* file = c.update("/My Files/share/file");
    return file != nullptr && file->find("shareWritable") == nullptr;
  });
  EXPECT_FALSE(changes.hasDeletion("/My Files/share/file"));
}

// The rights of a folder are also those of the files in it.
TEST_F(FolderWatcherTest, AFolderThatIsClosedClosesItsFiles) {
  server.write("share/dir/file", "");
  start();
  list("/My Files/share");
  list("/My Files/share/dir");
  ::chmod(server.path("share/dir").c_str(), 0555);
  takeUntil([](const Changes& c) {
    const auto* file = c.update("/My Files/share/dir/file");
    return file != nullptr && file->find("shareWritable") == nullptr;
  });
  ::chmod(server.path("share/dir").c_str(), 0755);
}

TEST_F(FolderWatcherTest, ARenamedFolderIsDeletedAndNew) {
  server.write("share/old/inner/file", "1");
  start();
  list("/My Files/share");
  list("/My Files/share/old");
  list("/My Files/share/old/inner");
  server.rename("share/old", "share/new");
  auto changes = takeUntil([](const Changes& c) {
    return c.hasDeletion("/My Files/share/old") && c.hasUpdate("/My Files/share/new");
  });
  // What is known of the folder goes with its old name; the new one is watched when it is listed.
  list("/My Files/share/new");
  list("/My Files/share/new/inner");
  server.write("share/new/inner/file", "22");
  changes = awaitUpdate("/My Files/share/new/inner/file");
  EXPECT_FALSE(changes.hasUpdate("/My Files/share/old/inner/file"));
}

TEST_F(FolderWatcherTest, AFolderThatIsReplacedIsDeletedFirst) {
  server.write("share/dir/old", "1");
  start();
  list("/My Files/share");
  list("/My Files/share/dir");
  server.write("elsewhere/new", "1");
  ASSERT_EQ(0, ::renameat2(AT_FDCWD, server.path("elsewhere").c_str(), AT_FDCWD,
                           server.path("share/dir").c_str(), RENAME_EXCHANGE));
  const auto changes = awaitDeletion("/My Files/share/dir");
  EXPECT_TRUE(changes.hasUpdate("/My Files/share/dir"));
}

TEST_F(FolderWatcherTest, SharesComeAndGo) {
  server.folder("one");
  start();
  server.folder("two");
  server.write("no share", "");
  auto changes = awaitUpdate("/My Files/two");
  EXPECT_EQ("/My Files", textOf(*changes.update("/My Files/two"), "parentItemIdentifier"));
  EXPECT_FALSE(changes.hasUpdate("/My Files/no share"));
  server.remove("one");
  awaitDeletion("/My Files/one");
}

TEST_F(FolderWatcherTest, WhatChangedWhileNobodyLookedIsFound) {
  server.write("share/dir/changed", "1");
  server.write("share/dir/gone", "1");
  server.write("share/dir/same", "1");
  server.write("share/moved/file", "1");
  start();
  list("/My Files/share");
  list("/My Files/share/dir");
  list("/My Files/share/moved");
  stop();
  server.write("share/dir/changed", "22");
  server.write("share/dir/new", "1");
  server.remove("share/dir/gone");
  server.remove("share/moved");
  start();
  std::set<std::string> updates;
  std::set<std::string> deletions;
  ASSERT_TRUE(eventually([&] {
    const auto changes = take();
    for (const auto& item : changes.updates) updates.insert(textOf(item, "itemIdentifier"));
    deletions.insert(changes.deletions.begin(), changes.deletions.end());
    return updates.contains("/My Files/share/dir/changed") && updates.contains("/My Files/share/dir/new") &&
           deletions.contains("/My Files/share/dir/gone") && deletions.contains("/My Files/share/moved");
  }));
  EXPECT_FALSE(deletions.contains("/My Files/share/dir/same"));
  // And the folders are watched again.
  server.write("share/dir/same", "22");
  awaitUpdate("/My Files/share/dir/same");
}

TEST_F(FolderWatcherTest, AFileThatIsWrittenAllTheTimeIsReportedAFewTimesASecond) {
  server.write("share/log", "");
  start();
  list("/My Files/share");
  const auto begin = std::chrono::steady_clock::now();
  const int before = signals;
  std::ofstream log(server.path("share/log"), std::ios::app);
  while (std::chrono::steady_clock::now() - begin < std::chrono::seconds(1)) log << "line" << std::endl;
  awaitUpdate("/My Files/share/log");
  const auto elapsed = std::chrono::steady_clock::now() - begin;
  const auto most = elapsed / std::chrono::milliseconds(200) + 2;
  EXPECT_GT(signals - before, 1);
  EXPECT_LE(signals - before, most);
}

// A listing that is under way takes in what happens meanwhile, however the two fall together.
TEST_F(FolderWatcherTest, NothingIsLostWhileAFolderIsListed) {
  server.folder("share");
  start();
  std::atomic<bool> done = false;
  std::thread writer([this, &done] {
    for (int i = 0; i < 400; ++i) server.write("share/f" + std::to_string(i), "x");
    done = true;
  });
  std::set<std::string> seen;
  const auto note = [&seen](const DictionaryList& items) {
    for (const auto& item : items) seen.insert(textOf(item, "name"));
  };
  note(list("/My Files/share"));
  writer.join();
  EXPECT_TRUE(eventually([&] {
    note(take().updates);
    return std::count_if(seen.begin(), seen.end(), [](const auto& name) { return name[0] == 'f'; }) == 400;
  })) << seen.size();
}

TEST_F(FolderWatcherTest, ManyFilesAtOnce) {
  server.folder("share");
  start();
  list("/My Files/share");
  // A burst beyond what is kept name by name.
  for (int i = 0; i < 3'000; ++i) server.write("share/f" + std::to_string(i), "x");
  std::set<std::string> seen;
  EXPECT_TRUE(eventually([&] {
    for (const auto& item : take().updates) seen.insert(textOf(item, "name"));
    return seen.size() >= 3'000;
  })) << seen.size();
}

TEST_F(FolderWatcherTest, RefreshLooksAgain) {
  server.folder("share");
  start();
  list("/My Files/share");
  const auto before = parts->watcher->counts().scans;
  service->refreshDirectoryForPath("/My Files/share", true);
  EXPECT_TRUE(eventually([&] { return parts->watcher->counts().scans == before + 1; }));
  service->refreshMyFiles();
  EXPECT_TRUE(eventually([&] { return parts->watcher->counts().scans == before + 3; }));
}

// Idle means idle: with nothing to do no thread of the host runs.
TEST_F(FolderWatcherTest, NothingRunsWhileNothingHappens) {
  server.folder("share");
  start();
  list("/My Files/share");
  const auto switches = [] {
    std::uint64_t sum = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
      if (!contentOf(task.path() / "comm").starts_with("host.")) continue;
      std::ifstream status(task.path() / "status");
      for (std::string line; std::getline(status, line);) {
        if (line.starts_with("voluntary_ctxt_switches:")) sum += std::stoull(line.substr(24));
      }
    }
    return sum;
  };
  // The stored folder has been written; from then on there is nothing left.
  ASSERT_TRUE(eventually([this] { return !parts->store->folders().empty(); }));
  auto last = switches();
  EXPECT_TRUE(eventually([&] {
    const auto begin = std::exchange(last, switches());
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    return begin == last && last == switches();
  }));
}

}  // namespace
}  // namespace zelto::test
