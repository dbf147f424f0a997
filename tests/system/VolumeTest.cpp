#include <algorithm>
#include <mutex>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include "framework/volume/Volume.h"
#include "tests/framework/FakeExtension.h"
#include "tests/system/FolderWatch.h"

namespace zelto::test {
namespace {

// A mounted volume over a replica that the test fills itself.
struct VolumeTest : ::testing::Test, ReplicaFixture {
  Lister lister{extension, *replica, [](const ReplicaDelta&) {}, [](std::size_t) {}};
  Materialiser materialiser{extension, *replica, link, [](const ReplicaDelta&) {}};
  fs::path mount = directory / "mount";
  std::unique_ptr<Volume> volume;
  std::thread loop;
  std::mutex mutex;
  std::vector<Inode> refused;

  void SetUp() override {
    fs::create_directory(mount);
    auto mounted = Volume::mount({*replica, lister, materialiser, deadlines, link}, mount.string(),
                                 std::chrono::seconds(10));
    ASSERT_TRUE(mounted) << mounted.error().localizedDescription();
    volume = *std::move(mounted);
    volume->takePicturesFrom([this](Inode inode, pid_t, Volume::PictureHandler done) {
      {
        const std::lock_guard lock(mutex);
        refused.push_back(inode);
      }
      done(std::nullopt);
    });
    loop = std::thread([this] { EXPECT_EQ(volume->run(), 0); });
  }
  void TearDown() override {
    volume->stop();
    loop.join();
    volume.reset();
  }

  static NSFileProviderItemPtr item(const std::string& identifier, const std::string& parent,
                                    const std::string& name, bool folder = false) {
    return std::make_shared<FakeItem>(identifier, parent, name, folder, 5, 1);
  }
  static std::string root() { return NSFileProviderRootContainerItemIdentifier; }
  Inode inode(const std::string& identifier) { return *replica->inodeForIdentifier(identifier); }

  void list(const std::string& folder, const std::vector<NSFileProviderItemPtr>& items) {
    volume->replicaChanged(replica->applyListing(folder.empty() ? kRootInode : inode(folder), items));
  }
  void change(const std::vector<NSFileProviderItemPtr>& updates,
              const std::vector<std::string>& deleted = {}) {
    volume->replicaChanged(replica->applyChanges(updates, deleted));
  }
};

TEST_F(VolumeTest, AMoveOnTheServerIsAMoveForWhoWatches) {
  list("", {item("one", root(), "one", true), item("two", root(), "two", true)});
  list("one", {item("f", "one", "file"), item("d", "one", "folder", true)});
  list("two", {});
  FolderWatch one(mount / "one"), two(mount / "two");
  names(mount / "one");
  change({item("f", "one", "renamed"), item("d", "one", "folder 2", true)});
  EXPECT_TRUE(
      eventually([&] { return one.sawMove("file", "renamed") && one.sawMove("folder", "folder 2"); }));
  change({item("f", "two", "elsewhere"), item("d", "two", "folder", true)});
  EXPECT_EQ(one.waitFor(IN_MOVED_FROM, "renamed"), "");
  EXPECT_EQ(two.waitFor(IN_MOVED_TO, "elsewhere"), "");
  EXPECT_EQ(two.waitFor(IN_MOVED_TO | IN_ISDIR, "folder"), "");
  EXPECT_EQ(names(mount / "one"), std::vector<std::string>());
  EXPECT_EQ(names(mount / "two"), (std::vector<std::string>{"elsewhere", "folder"}));
  struct stat status {};
  EXPECT_EQ(::stat((mount / "two" / "elsewhere").c_str(), &status), 0);
  EXPECT_EQ(status.st_ino, inode("f"));
  EXPECT_TRUE(replica->localChanges().empty());
}

TEST_F(VolumeTest, WhatChangesPlacesIsSeenAtBothInTheEnd) {
  list("", {item("a", root(), "a"), item("b", root(), "b")});
  FolderWatch watch(mount);
  names(mount);
  change({item("a", root(), "b"), item("b", root(), "a")});
  // The last that is told of each is that it is there.
  const auto last = [&](const std::string& name) {
    std::string text;
    for (const std::string& each : watch.all()) {
      const bool there = each == "100 " + name || each == "200 " + name || each == "80 " + name;
      if (there || each == "40 " + name) text = each;
    }
    return text;
  };
  EXPECT_TRUE(eventually([&] { return last("a") == "100 a" && last("b") == "100 b"; }));
  struct stat status {};
  EXPECT_EQ(::stat((mount / "a").c_str(), &status), 0);
  EXPECT_EQ(status.st_ino, inode("b"));
}

// Whoever watches a folder without ever having listed it keeps it known to the kernel, and that is enough.
// What a first listing brings is no news.
TEST_F(VolumeTest, OnlyWhatCanBeWatchedIsTold) {
  list("", {item("one", root(), "one", true)});
  struct stat status {};
  EXPECT_FALSE(volume->notices().knownFolders().contains(inode("one")));
  FolderWatch watch(mount / "one");
  EXPECT_TRUE(volume->notices().knownFolders().contains(inode("one")));
  list("one", {item("old", "one", "old")});
  list("one", {item("old", "one", "old"), item("new", "one", "new")});
  EXPECT_EQ(watch.waitFor(IN_CREATE, "new"), "");
  EXPECT_FALSE(watch.saw(IN_CREATE, "old"));
  EXPECT_EQ(::stat((mount / "one" / "old").c_str(), &status), 0);
}

TEST_F(VolumeTest, AFolderThatTheKernelForgetsIsNotKnownAnyMore) {
  list("", {item("one", root(), "one", true)});
  struct stat status {};
  ASSERT_EQ(::stat((mount / "one").c_str(), &status), 0);
  const Inode one = inode("one");
  EXPECT_TRUE(volume->notices().knownFolders().contains(one));
  change({}, {"one"});
  EXPECT_TRUE(eventually([&] { return !volume->notices().knownFolders().contains(one); }));
}

// Requests that come from the thread of the notices without one being under way change nothing.
TEST_F(VolumeTest, WhatNobodyExpectsIsRefused) {
  list("", {item("a", root(), "a"), item("b", root(), "b", true)});
  list("b", {});
  volume->notices().expected().setThread(::gettid());
  const std::timespec dates[] = {{1, 0}, {1, 0}};
  const fs::path a = mount / "a", b = mount / "b", c = mount / "c";
  EXPECT_EQ(::mkdir(c.c_str(), 0700) == 0 ? 0 : errno, ESTALE);
  EXPECT_EQ(::mknod(c.c_str(), S_IFREG | 0600, 0) == 0 ? 0 : errno, ESTALE);
  EXPECT_EQ(::symlink("a", c.c_str()) == 0 ? 0 : errno, ESTALE);
  EXPECT_EQ(::unlink(a.c_str()) == 0 ? 0 : errno, ESTALE);
  EXPECT_EQ(::rmdir(b.c_str()) == 0 ? 0 : errno, ESTALE);
  EXPECT_EQ(::rename(a.c_str(), c.c_str()) == 0 ? 0 : errno, ESTALE);
  EXPECT_EQ(::utimensat(AT_FDCWD, a.c_str(), dates, 0) == 0 ? 0 : errno, ESTALE);
  // Also where one is under way that the replica does not agree with.
  const Notice gone{.kind = Notice::Kind::gone, .inode = inode("a"), .place = {kRootInode, "a"}, .from = {}};
  volume->notices().expected().begin(gone);
  EXPECT_EQ(::unlink(a.c_str()) == 0 ? 0 : errno, ESTALE);
  volume->notices().expected().end();
  volume->notices().expected().setThread(0);
  EXPECT_EQ(names(mount), (std::vector<std::string>{"a", "b"}));
  struct stat status {};
  EXPECT_EQ(::stat(a.c_str(), &status), 0);
  EXPECT_EQ(status.st_ino, inode("a"));
  EXPECT_NE(status.st_mtim.tv_sec, 1);
  EXPECT_TRUE(replica->localChanges().empty());
}

// The kernel has it under a name at which something else is still to be told as moved or gone.
TEST_F(VolumeTest, WhatSomebodyHasFoundAnewKeepsItsName) {
  list("", {item("a", root(), "a"), item("moved", root(), "c"), item("b", root(), "b", true)});
  list("b", {item("inside", "b", "inside")});
  FolderWatch watch(mount);
  change({item("later", root(), "later")});
  ASSERT_EQ(watch.waitFor(IN_CREATE, "later"), "");  // the kernel was told to forget everything before
  struct stat status {};
  const fs::path a = mount / "a", b = mount / "b", c = mount / "c";
  ASSERT_EQ(::stat(a.c_str(), &status), 0);
  const int inUse = ::open(b.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_GE(inUse, 0);
  volume->notices().expected().setThread(::gettid());
  volume->notices().expected().begin({.kind = Notice::Kind::moved,
                                      .inode = inode("moved"),
                                      .place = {kRootInode, "c"},
                                      .from = {kRootInode, "a"}});
  EXPECT_EQ(::rename(a.c_str(), c.c_str()), 0);
  volume->notices().expected().begin({.kind = Notice::Kind::gone,
                                      .node = NodeKind::folder,
                                      .inode = inode("b") + 100,
                                      .place = {kRootInode, "b"},
                                      .from = {}});
  EXPECT_EQ(::rmdir(b.c_str()), 0);
  volume->notices().expected().end();
  volume->notices().expected().setThread(0);
  EXPECT_TRUE(watch.saw(IN_MOVED_TO, "c") && watch.saw(IN_DELETE | IN_ISDIR, "b"));
  EXPECT_EQ(::stat(a.c_str(), &status), 0);
  EXPECT_EQ(status.st_ino, inode("a"));
  EXPECT_EQ(::stat(c.c_str(), &status), 0);
  EXPECT_EQ(status.st_ino, inode("moved"));
  EXPECT_EQ(names(b), std::vector<std::string>{"inside"}) << "it counts as removed";
  ::close(inUse);
}

// A program of the system under another name, run on a file; its exit status.
int run(const std::vector<std::string>& arguments, const fs::path& errors) {
  Process process(arguments, errors);
  int status = -1;
  EXPECT_TRUE(process.waitForEnd(std::chrono::seconds(20), &status));
  return WEXITSTATUS(status);
}

TEST_F(VolumeTest, WhoReadsOfItsOwnAccordIsRefusedAndTold) {
  list("", {item("small", root(), "small"),
            std::make_shared<FakeItem>("large", root(), "large", false, 50 << 20, 1)});
  const fs::path thumbnailer = directory / "tumblerd";
  fs::copy_file("/bin/cat", thumbnailer);
  EXPECT_NE(run({thumbnailer, mount / "small"}, directory / "errors"), 0);
  EXPECT_NE(run({thumbnailer, mount / "large"}, directory / "errors"), 0);
  EXPECT_NE(run({"dd", "iflag=noatime", "count=1", "if=" + (mount / "small").string()}, directory / "errors"),
            0);
  const std::lock_guard lock(mutex);
  EXPECT_EQ(refused, (std::vector<Inode>{inode("small"), inode("large"), inode("small")}));
  EXPECT_TRUE(extension.wholes.empty());
  EXPECT_TRUE(extension.ranges.empty());
}

}  // namespace
}  // namespace zelto::test
