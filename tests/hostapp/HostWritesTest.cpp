#include <fcntl.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include "hostapp/BackendErrors.h"
#include "tests/hostapp/GatedBackend.h"
#include "tests/hostapp/HostFixture.h"

namespace zelto::test {
namespace {

using Reply = std::tuple<std::optional<NSDictionary>, std::optional<NSError>>;

// Changes that the extension asks for, as it is answered.
class HostWritesTest : public HostFixture {
 protected:
  // A file in the group directory, as the extension hands it over. With a second name it has to be copied.
  NSURL staged(std::string_view content, bool copied = false) {
    const auto path = server.group() + "/staged" + std::to_string(++files);
    std::ofstream(path, std::ios::binary) << content;
    EXPECT_TRUE(!copied || ::link(path.c_str(), server.own("link" + std::to_string(files)).c_str()) == 0);
    return NSURL::fileURL(path);
  }
  std::pair<std::shared_ptr<NSProgress>, std::future<Reply>> beginUpload(
      const std::string& identifier, const std::optional<NSURL>& content, bool creating = false,
      const std::optional<NSDate>& modified = std::nullopt) {
    auto [reply, future] = awaited<std::optional<NSDictionary>, std::optional<NSError>>();
    auto progress = service->uploadFileWithPath(identifier, content, creating, modified, std::move(reply));
    return {progress, std::move(future)};
  }
  Reply upload(const std::string& identifier, std::string_view content, bool creating = false) {
    return beginUpload(identifier, staged(content), creating).second.get();
  }
  Reply createDirectory(const std::string& identifier, bool mayExist) {
    auto [reply, future] = awaited<std::optional<NSDictionary>, std::optional<NSError>>();
    service->createDirectoryWithPath(identifier, mayExist, std::move(reply));
    return future.get();
  }
  std::optional<NSError> remove(const std::string& identifier) {
    auto [reply, future] = awaited<std::optional<NSError>>();
    service->deleteItemWithPath(identifier, std::move(reply));
    return std::get<0>(future.get());
  }
  Reply move(const std::string& identifier, const std::string& destination) {
    auto [reply, future] = awaited<std::optional<NSDictionary>, std::optional<NSError>>();
    service->moveItemWithPath(identifier, destination, std::move(reply));
    return future.get();
  }
  // Nothing of what was handed over is left.
  bool nothingStaged() const {
    const auto left = [](const std::string& folder) {
      return std::distance(std::filesystem::directory_iterator(folder),
                           std::filesystem::directory_iterator());
    };
    return left(server.group()) == 1 && left(server.group() + "/host") == 0;
  }
  std::vector<std::string> namesOnDisk(const std::string& folder) const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(server.path(folder))) {
      names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  // Older than what counts as having just changed.
  void settle(const std::string& name) {
    const auto changed = server.status(name).st_ctim;
    ASSERT_TRUE(eventually([changed] {
      std::timespec now{};
      ::clock_gettime(CLOCK_REALTIME, &now);
      return (now.tv_sec - changed.tv_sec) * 1'000 + (now.tv_nsec - changed.tv_nsec) / 1'000'000 > 60;
    }));
  }
  std::shared_ptr<GatedBackend> gated() {
    auto made = std::make_shared<std::shared_ptr<GatedBackend>>();
    wrap = [made](std::shared_ptr<ServerBackend> inner) {
      return *made = std::make_shared<GatedBackend>(std::move(inner));
    };
    start();
    return *made;
  }

  int files = 0;
};

std::int64_t codeOf(const std::optional<NSError>& error) { return error ? error->code() : 0; }

TEST_F(HostWritesTest, RepliesAreWhatTheNextListingSays) {
  server.folder("share/old");
  start();
  parts->marks->add(MarkKind::bookmark, "/My Files/share/old");
  const auto date = NSDate::since1970(1'600'000'000.5);
  const auto [file, error] =
      beginUpload("/My Files/share/file.txt", staged("content"), true, date).second.get();
  ASSERT_TRUE(file) << error->localizedDescription();
  const auto folder = std::get<0>(createDirectory("/My Files/share/folder", false));
  const auto below = std::get<0>(upload("/Bookmarks/old/below", "x", true));
  const auto absent = std::get<0>(beginUpload("/My Files/share/no content", std::nullopt, true).second.get());
  ASSERT_TRUE(folder && below && absent);
  const auto moved = std::get<0>(move("/My Files/share/old", "/My Files/share/new"));
  const auto same = std::get<0>(move("/My Files/share/new", "/My Files/share/new"));
  ASSERT_TRUE(moved && same);
  EXPECT_EQ("/Bookmarks/old/below", textOf(*below, "itemIdentifier"));
  EXPECT_EQ(date, *file->find("dateModified")->asDate());
  const auto listed = list("/My Files/share");
  EXPECT_EQ(*file, *named(listed, "file.txt"));
  EXPECT_EQ(*folder, *named(listed, "folder"));
  EXPECT_EQ(*absent, *named(listed, "no content"));
  EXPECT_EQ(*same, *named(listed, "new"));
  EXPECT_TRUE(nothingStaged());
  EXPECT_EQ(3U, parts->counters->calls()["uploadFile"]);
}

TEST_F(HostWritesTest, MistakesAreSaidAndLeaveEverythingAsItWas) {
  server.write("share/file", "old");
  server.write("share/folder/inner", "x");
  start();
  EXPECT_EQ(kWriteFileExistsError, codeOf(std::get<1>(upload("/My Files/share/file", "new", true))));
  EXPECT_EQ(kWriteFileExistsError, codeOf(std::get<1>(createDirectory("/My Files/share/folder", false))));
  EXPECT_EQ(kWriteFileExistsError, codeOf(std::get<1>(createDirectory("/My Files/share/file", true))));
  EXPECT_TRUE(std::get<0>(createDirectory("/My Files/share/folder", true)));
  EXPECT_EQ(kWriteFileExistsError,
            codeOf(std::get<1>(move("/My Files/share/folder", "/My Files/share/file"))));
  EXPECT_EQ(EINVAL, codeOf(std::get<1>(move("/My Files/share/folder", "/My Files/share/folder/x"))));
  for (const std::string missing :
       {"/My Files/share/none/x", "/My Files/none/x", "/nowhere/x", "/Bookmarks/none/x"}) {
    EXPECT_TRUE(isNoSuchItem(*std::get<1>(upload(missing, "x", true)))) << missing;
    EXPECT_TRUE(isNoSuchItem(*std::get<1>(createDirectory(missing, true)))) << missing;
    EXPECT_TRUE(isNoSuchItem(*remove(missing))) << missing;
    EXPECT_TRUE(isNoSuchItem(*std::get<1>(move(missing, "/My Files/share/x")))) << missing;
  }
  for (const std::string bad :
       {"", "relative", "/My Files/share/../x", "/My Files/share//x", "/My Files/share/\xff"}) {
    const auto error = std::get<1>(upload(bad, "x", true));
    ASSERT_TRUE(error) << bad;
    EXPECT_EQ(EINVAL, error->code()) << bad;
  }
  EXPECT_EQ("old", contentOf(server.path("share/file")));
  EXPECT_EQ((std::vector<std::string>{"file", "folder"}), namesOnDisk("share"));
  EXPECT_TRUE(nothingStaged()) << "content belongs to the host also when it is refused";
}

// The extension has looked at the file, and takes what it saw for what it replaces.
TEST_F(HostWritesTest, WhatChangedSinceTheExtensionLookedIsNeitherReplacedNorRemoved) {
  server.write("share/doc", "first");
  start();
  const auto look = [this] {
    auto [reply, future] =
        awaited<std::optional<NSData>, std::optional<NSDictionary>, NSRange, std::optional<NSError>>();
    service->downloadItemWithPath("/My Files/share/doc", NSRange{0, 1}, 1, std::move(reply));
    return !std::get<3>(future.get());
  };
  ASSERT_TRUE(look());
  server.write("share/doc", "somebody else's");
  EXPECT_EQ(std::get<1>(upload("/My Files/share/doc", "ours"))->code(), EBUSY);
  EXPECT_EQ(std::get<1>(beginUpload("/My Files/share/doc", staged("ours", true)).second.get())->code(),
            EBUSY);
  EXPECT_EQ(remove("/My Files/share/doc")->code(), EBUSY);
  EXPECT_EQ(contentOf(server.path("share/doc")), "somebody else's");
  ASSERT_TRUE(look());
  EXPECT_FALSE(std::get<1>(upload("/My Files/share/doc", "ours")).has_value());
  EXPECT_EQ(contentOf(server.path("share/doc")), "ours");
  ASSERT_TRUE(look());
  server.remove("share/doc");
  EXPECT_FALSE(std::get<1>(upload("/My Files/share/doc", "made anew")).has_value());
}

// Nobody looks again at what was made a moment ago.
TEST_F(HostWritesTest, WhatTheExtensionDidItselfIsNoReasonToRefuse) {
  server.folder("share/folder");
  start();
  EXPECT_TRUE(std::get<0>(upload("/My Files/share/folder/one", "first", true)));
  EXPECT_FALSE(remove("/My Files/share/folder/one"));
  EXPECT_TRUE(std::get<0>(upload("/My Files/share/folder/one", "", true)));
  EXPECT_TRUE(std::get<0>(upload("/My Files/share/other", "longer", true)));
  EXPECT_TRUE(std::get<0>(move("/My Files/share/folder/one", "/My Files/share/folder/two")));
  EXPECT_TRUE(std::get<0>(move("/My Files/share/other", "/My Files/share/folder/one")));
  EXPECT_TRUE(std::get<0>(move("/My Files/share/folder", "/My Files/share/moved")));
  EXPECT_TRUE(std::get<0>(createDirectory("/My Files/share/folder", false)));
  EXPECT_TRUE(std::get<0>(move("/My Files/share/moved/one", "/My Files/share/folder/two")));
  for (const char* file : {"/My Files/share/moved/two", "/My Files/share/folder/two"})
    EXPECT_EQ(codeOf(remove(file)), 0) << file;
}

TEST_F(HostWritesTest, SharesContainersMarksAndOfflineFilesStay) {
  server.write("share/file", "x");
  start();
  parts->marks->add(MarkKind::bookmark, "/My Files/share/file");
  parts->marks->add(MarkKind::offline, "/My Files/share/file");
  for (const std::string fixed : {"/", "/My Files", "/Bookmarks", "/Offline Files", "/My Files/share",
                                  "/My Files/new share", "/Bookmarks/file", "/Offline Files/file"}) {
    EXPECT_EQ(kWriteNoPermissionError, codeOf(remove(fixed))) << fixed;
    EXPECT_EQ(kWriteNoPermissionError, codeOf(std::get<1>(createDirectory(fixed, true)))) << fixed;
    EXPECT_EQ(kWriteNoPermissionError, codeOf(std::get<1>(upload(fixed, "x")))) << fixed;
    EXPECT_EQ(kWriteNoPermissionError, codeOf(std::get<1>(move(fixed, "/My Files/share/moved")))) << fixed;
    EXPECT_EQ(kWriteNoPermissionError, codeOf(std::get<1>(move("/My Files/share/file", fixed)))) << fixed;
  }
  EXPECT_EQ("x", contentOf(server.path("share/file")));
  ::chmod(server.path("share").c_str(), 0555);
  EXPECT_FALSE(isTrue(*named(list("/My Files"), "share"), "shareWritable"));
  EXPECT_EQ(kWriteNoPermissionError, codeOf(remove("/My Files/share/file")));
  ::chmod(server.path("share").c_str(), 0755);
}

TEST_F(HostWritesTest, OnlyFilesOfTheGroupDirectoryAreTaken) {
  server.folder("share");
  start();
  std::ofstream(server.own("private")) << "private";
  std::filesystem::create_directories(server.group() + "/sub");
  std::ofstream(server.group() + "/sub/file") << "x";
  for (const auto& path : {server.own("private"), server.group() + "/sub/file", server.group() + "/none",
                           server.group() + "/../private"}) {
    EXPECT_TRUE(std::get<1>(beginUpload("/My Files/share/x", NSURL::fileURL(path), true).second.get()))
        << path;
  }
  EXPECT_EQ("private", contentOf(server.own("private")));
  EXPECT_TRUE(namesOnDisk("share").empty());
}

TEST_F(HostWritesTest, ACancelledUploadLeavesNothing) {
  server.write("share/file", "old");
  const auto gate = gated();
  auto [progress, future] = beginUpload("/My Files/share/file", staged(std::string(20'000'000, 'x'), true));
  gate->awaitArrival();
  gate->let(1);
  gate->awaitArrival();
  EXPECT_EQ(20'000'000, progress->totalUnitCount());
  EXPECT_EQ(8 << 20, progress->completedUnitCount());
  progress->cancel();
  gate->open();
  const auto [dictionary, error] = future.get();
  EXPECT_FALSE(dictionary);
  ASSERT_TRUE(error);
  EXPECT_EQ(NSCocoaErrorDomain, error->domain());
  EXPECT_EQ(kUserCancelledError, error->code());
  EXPECT_EQ("old", contentOf(server.path("share/file")));
  EXPECT_EQ(1U, namesOnDisk("share").size());
  EXPECT_TRUE(nothingStaged());
}

// What was asked over a connection that is gone must not undo what is asked over the next.
TEST_F(HostWritesTest, WhatNobodyWaitsForDoesNotShowAnyMore) {
  server.write("share/file", "old");
  const auto gate = gated();
  auto [progress, future] = beginUpload("/My Files/share/file", staged("late", true));
  gate->awaitArrival();
  service->abandon();
  reconnect();
  gate->open();
  EXPECT_EQ(kUserCancelledError, codeOf(std::get<1>(future.get())));
  EXPECT_TRUE(std::get<0>(upload("/My Files/share/file", "new")));
  EXPECT_EQ("new", contentOf(server.path("share/file")));
  EXPECT_TRUE(nothingStaged());
}

TEST_F(HostWritesTest, AnEchoSaysTheSameAsTheReply) {
  server.write("share/sentinel", "1");
  start();
  list("/My Files/share");
  const auto made = std::get<0>(upload("/My Files/share/new", "content", true));
  ASSERT_TRUE(made);
  server.write("share/sentinel", "22");
  takeUntil([&made](const Changes& changes) {
    const auto* echo = changes.update("/My Files/share/new");
    EXPECT_TRUE(echo == nullptr || *echo == *made);
    EXPECT_TRUE(changes.deletions.empty());
    return changes.hasUpdate("/My Files/share/sentinel");
  });
}

TEST_F(HostWritesTest, WhatTheExtensionRemovedIsNotReportedBack) {
  server.write("share/a/file", "1");
  server.write("share/a/moving", "1");
  server.folder("share/b");
  server.write("share/a/sentinel", "1");
  settle("share/a/sentinel");
  start();
  for (const std::string folder : {"", "/a", "/b"}) list("/My Files/share" + folder);
  EXPECT_FALSE(remove("/My Files/share/a/file"));
  EXPECT_TRUE(std::get<0>(move("/My Files/share/a/moving", "/My Files/share/b/moving")));
  server.remove("share/a/sentinel");
  takeUntil([](const Changes& changes) {
    EXPECT_FALSE(changes.hasDeletion("/My Files/share/a/file"));
    EXPECT_FALSE(changes.hasDeletion("/My Files/share/a/moving"));
    return changes.hasDeletion("/My Files/share/a/sentinel");
  });
  // Somebody else takes the names again.
  server.write("share/a/file", "new");
  awaitUpdate("/My Files/share/a/file");
  server.remove("share/a/file");
  awaitDeletion("/My Files/share/a/file");
}

TEST_F(HostWritesTest, AMovedFolderIsWatchedWhereItIsNow) {
  server.write("share/old/inner/file", "1");
  server.folder("share/elsewhere");
  settle("share/elsewhere");
  start();
  for (const std::string folder : {"", "/old", "/old/inner", "/elsewhere"}) list("/My Files/share" + folder);
  ASSERT_TRUE(std::get<0>(move("/My Files/share/old", "/My Files/share/elsewhere/new")));
  server.write("share/elsewhere/new/inner/file", "22");
  auto changes = awaitUpdate("/My Files/share/elsewhere/new/inner/file");
  EXPECT_EQ(2, changes.update("/My Files/share/elsewhere/new/inner/file")->find("size")->integerValue());
  server.write("share/elsewhere/new/late", "1");
  awaitUpdate("/My Files/share/elsewhere/new/late");
  // Another folder may take the old path.
  server.write("share/old/inner/other", "1");
  changes = awaitUpdate("/My Files/share/old");
  list("/My Files/share/old/inner");
  server.write("share/old/inner/other", "22");
  awaitUpdate("/My Files/share/old/inner/other");
  restart();
  server.write("share/elsewhere/new/inner/file", "333");
  awaitUpdate("/My Files/share/elsewhere/new/inner/file");
}

TEST_F(HostWritesTest, AShareMayLieOnAnotherVolume) {
  server.folder("other");
  server.write("share/folder/file", "content");
  if (::mount("none", server.path("other").c_str(), "tmpfs", 0, "size=4m") != 0) {
    GTEST_SKIP() << "mounting is not allowed here";
  }
  start();
  for (const std::string folder : {"/share", "/share/folder", "/other"}) list("/My Files" + folder);
  const auto uploaded = std::get<0>(upload("/My Files/other/file", "copied there", true));
  ASSERT_TRUE(uploaded);
  const auto moved = std::get<0>(move("/My Files/share/folder", "/My Files/other/folder"));
  ASSERT_TRUE(moved);
  const auto listed = list("/My Files/other");
  EXPECT_EQ(*uploaded, *named(listed, "file"));
  EXPECT_EQ(*moved, *named(listed, "folder"));
  EXPECT_TRUE(namesOnDisk("share").empty());
  server.write("other/folder/file", "longer content");
  takeUntil([](const Changes& changes) {
    const auto* file = changes.update("/My Files/other/folder/file");
    return file != nullptr && file->find("size")->integerValue() == 14;
  });
  EXPECT_TRUE(nothingStaged());
  stop();
  ::umount2(server.path("other").c_str(), MNT_DETACH);
}

TEST_F(HostWritesTest, ARemovalIsCancelledBetweenEntries) {
  for (int i = 0; i < 300; ++i) server.write("share/many/" + std::to_string(i), "");
  const auto gate = gated();
  auto [reply, future] = awaited<std::optional<NSError>>();
  const auto progress = service->deleteItemWithPath("/My Files/share/many", std::move(reply));
  gate->awaitArrival();
  gate->let(2);
  gate->awaitArrival();
  EXPECT_EQ(301, progress->totalUnitCount());
  EXPECT_EQ(100, progress->completedUnitCount());
  progress->cancel();
  gate->let(1);
  EXPECT_EQ(kUserCancelledError, codeOf(std::get<0>(future.get())));
  EXPECT_EQ(100U, namesOnDisk("share/many").size());
  gate->open();
  EXPECT_FALSE(remove("/My Files/share/many"));
  EXPECT_TRUE(namesOnDisk("share").empty());
}

// A host that is killed in the middle of an upload.
class HostKillTest : public HostWritesTest {
 protected:
  // Uploads in a process of its own, which is killed at the named point.
  void uploadUntilKilled(const char* point, bool copied) {
    const pid_t child = ::fork();
    if (child == 0) {
      ::setenv("ZELTO_KILL_POINT", point, 1);
      start();
      list("/My Files/share");
      beginUpload("/My Files/share/file", staged("new content", copied), false).second.wait();
      for (;;) ::pause();
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "it was never there";
  }
  void SetUp() override { server.write("share/file", "old"); }
};

TEST_F(HostKillTest, BeforeTheRenameTheOldFileIsWhole) {
  for (const char* point : {"upload.staged", "upload.copied"}) {
    for (const bool copied : {false, true}) {
      uploadUntilKilled(point, copied);
      EXPECT_EQ("old", contentOf(server.path("share/file"))) << point;
      start();
      EXPECT_TRUE(nothingStaged()) << point;
      EXPECT_EQ(1U, list("/My Files/share").size());
      EXPECT_EQ(std::vector<std::string>{"file"}, namesOnDisk("share")) << point;
      stop();
    }
  }
}

TEST_F(HostKillTest, AfterTheRenameTheNewFileIsWholeAndNoticed) {
  uploadUntilKilled("upload.renamed", true);
  EXPECT_EQ("new content", contentOf(server.path("share/file")));
  start();
  const auto changes = awaitUpdate("/My Files/share/file");
  EXPECT_EQ(11, changes.update("/My Files/share/file")->find("size")->integerValue());
  EXPECT_TRUE(nothingStaged());
  EXPECT_EQ(std::vector<std::string>{"file"}, namesOnDisk("share"));
}

}  // namespace
}  // namespace zelto::test
