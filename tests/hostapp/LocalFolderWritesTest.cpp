#include <algorithm>
#include <array>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "hostapp/BackendErrors.h"
#include "hostapp/LocalFolderBackend.h"
#include "tests/hostapp/ServerFolder.h"

namespace zelto::test {
namespace {

using Entry = std::expected<BackendEntry, NSError>;

class LocalFolderWritesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    server.folder("share");
    backend = *LocalFolderBackend::serving(server.root());
  }
  void TearDown() override {
    if (mounted) ::umount2(server.path("share").c_str(), MNT_DETACH);
  }

  // A file that waits to be uploaded. With a second name it has to be copied instead of moved.
  std::string staged(std::string_view content, bool copied = false) {
    const auto path = server.own("staged" + std::to_string(++files));
    std::ofstream(path, std::ios::binary) << content;
    EXPECT_TRUE(!copied || ::link(path.c_str(), (path + ".link").c_str()) == 0);
    return path;
  }
  static Entry finished(std::expected<std::unique_ptr<BackendWork>, NSError> work) {
    if (!work) return std::unexpected(work.error());
    for (;;) {
      const auto done = (*work)->step();
      if (!done) return std::unexpected(done.error());
      if (*done) return (*work)->result().value_or(BackendEntry());
    }
  }
  Entry upload(const std::string& path, const std::string& source, bool creating = false,
               std::optional<NSDate> modified = std::nullopt) {
    return finished(backend->upload({path, source, creating, modified, std::nullopt}));
  }
  Entry remove(const std::string& path) { return finished(backend->remove(path)); }
  std::size_t entriesOnDisk(const std::string& folder) const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(server.path(folder)),
                                                  std::filesystem::directory_iterator()));
  }
  // A small volume of its own as the share; false where that is not allowed.
  bool mountShare(const char* options) {
    mounted = ::mount("none", server.path("share").c_str(), "tmpfs", 0, options) == 0;
    return mounted;
  }

  ServerFolder server;
  std::shared_ptr<LocalFolderBackend> backend;
  int files = 0;
  bool mounted = false;
};

std::int64_t codeOf(const Entry& failed) {
  EXPECT_FALSE(failed);
  return failed ? 0 : failed.error().code();
}
bool isMissing(const Entry& failed) { return !failed && isNoSuchItem(failed.error()); }

void expectSame(const BackendEntry& a, const BackendEntry& b) {
  EXPECT_EQ(a.name, b.name);
  EXPECT_EQ(a.linkTarget, b.linkTarget);
  EXPECT_EQ(a.stat.kind, b.stat.kind);
  EXPECT_EQ(a.stat.size, b.stat.size);
  EXPECT_EQ(a.stat.writable, b.stat.writable);
  EXPECT_EQ(NSDate::fromTimespec(a.stat.modified), NSDate::fromTimespec(b.stat.modified));
}

// Moved or copied there, the file is the same.
class LocalUploadTest : public LocalFolderWritesTest, public ::testing::WithParamInterface<bool> {};
INSTANTIATE_TEST_SUITE_P(Ways, LocalUploadTest, ::testing::Values(false, true),
                         [](const auto& way) { return way.param ? "Copied" : "Moved"; });

TEST_P(LocalUploadTest, NewFilesAreWhatWasGiven) {
  ::umask(027);
  const auto date = NSDate::since1970(1'700'000'000.123456789);
  const auto source = staged("content", GetParam());
  const auto made = upload("share/new file", source, true, date);
  ASSERT_TRUE(made) << made.error().localizedDescription();
  EXPECT_EQ("content", contentOf(server.path("share/new file")));
  EXPECT_EQ(date, NSDate::fromTimespec(made->stat.modified)) << "the date comes back as it was given";
  expectSame(*backend->stat("share/new file"), *made);
  EXPECT_EQ(0640U, server.status("share/new file").st_mode & 07777U);
  EXPECT_EQ(1U, entriesOnDisk("share"));
  EXPECT_EQ(GetParam(), std::filesystem::exists(source));
  const auto empty = upload("share/empty", staged("", GetParam()), true);
  ASSERT_TRUE(empty);
  EXPECT_EQ(0U, empty->stat.size);
}

TEST_P(LocalUploadTest, AReplacedFileKeepsWhatIsNotContent) {
  server.write("share/file", "old");
  const auto path = server.path("share/file");
  ::chmod(path.c_str(), 0750);
  const bool owned = ::geteuid() == 0 && ::chown(path.c_str(), 1234, 4321) == 0;
  const bool attributes = ::setxattr(path.c_str(), "user.note", "kept", 4, 0) == 0;
  const auto replaced = upload("share/file", staged("new content", GetParam()));
  ASSERT_TRUE(replaced) << replaced.error().localizedDescription();
  EXPECT_EQ("new content", contentOf(path));
  const auto status = server.status("share/file");
  EXPECT_EQ(0750U, status.st_mode & 07777U);
  if (owned) {
    EXPECT_EQ(1234U, status.st_uid);
    EXPECT_EQ(4321U, status.st_gid);
  }
  std::array<char, 8> value{};
  if (attributes) {
    EXPECT_EQ(4, ::getxattr(path.c_str(), "user.note", value.data(), value.size()));
  }
  expectSame(*backend->stat("share/file"), *replaced);
  EXPECT_EQ(1U, entriesOnDisk("share"));
}

TEST_P(LocalUploadTest, OnlyOneOfManyCreatorsSucceeds) {
  for (int round = 0; round < 20; ++round) {
    const auto path = "share/contended" + std::to_string(round);
    std::array<std::string, 4> sources;
    for (std::size_t i = 0; i < sources.size(); ++i) sources[i] = staged(std::to_string(i), GetParam());
    std::atomic<int> winner = -1;
    std::atomic<int> refused = 0;
    std::vector<std::jthread> creators;
    for (std::size_t i = 0; i < sources.size(); ++i) {
      creators.emplace_back([this, i, &path, &sources, &winner, &refused] {
        const auto made = upload(path, sources[i], true);
        if (made) winner = static_cast<int>(i);
        if (!made && isExisting(made.error())) ++refused;
      });
    }
    creators.clear();
    EXPECT_EQ(3, refused);
    EXPECT_EQ(std::to_string(winner), contentOf(server.path(path)));
  }
  EXPECT_EQ(20U, entriesOnDisk("share"));
}

TEST_F(LocalFolderWritesTest, UploadsMeetWhatIsThere) {
  server.write("share/file", "old");
  server.folder("share/folder");
  server.write("elsewhere/target", "untouched");
  ASSERT_EQ(0, ::symlink("../elsewhere/target", server.path("share/link").c_str()));
  EXPECT_EQ(kWriteFileExistsError, codeOf(upload("share/file", staged("x"), true)));
  EXPECT_EQ("old", contentOf(server.path("share/file")));
  EXPECT_EQ(kWriteFileExistsError, codeOf(upload("share/folder", staged("x"))));
  EXPECT_TRUE(upload("share/gone", staged("written anew"))) << "nothing is lost";
  EXPECT_TRUE(isMissing(upload("share/no folder/file", staged("x"))));
  EXPECT_TRUE(isMissing(upload("share/file/below", staged("x"))));
  EXPECT_TRUE(upload("share/link", staged("in its place")));
  EXPECT_EQ("untouched", contentOf(server.path("elsewhere/target")));
  EXPECT_EQ("in its place", contentOf(server.path("share/link")));
  EXPECT_EQ(kWriteUnknownError, codeOf(upload("share/x", server.own("never staged"))));
}

TEST_F(LocalFolderWritesTest, AnUnfinishedUploadLeavesNothingAndShowsNothing) {
  server.write("share/file", "old");
  const auto source = staged(std::string(20'000'000, 'x'), true);
  auto work = backend->upload({"share/file", source, false, std::nullopt, std::nullopt});
  ASSERT_TRUE(work);
  ASSERT_FALSE((*work)->step().value());
  EXPECT_EQ(20'000'000U, (*work)->amount().total);
  EXPECT_LT(0U, (*work)->amount().done);
  EXPECT_EQ(2U, entriesOnDisk("share"));
  const auto listing = backend->list("share");
  ASSERT_EQ(1U, listing->entries.size()) << "what is being written is not shown, nor swept";
  EXPECT_EQ(2U, entriesOnDisk("share"));
  work->reset();
  EXPECT_EQ(1U, entriesOnDisk("share"));
  EXPECT_EQ("old", contentOf(server.path("share/file")));
}

TEST_F(LocalFolderWritesTest, LeftoversAreHiddenAndSwept) {
  const std::string left = ".zelto-upload-0E8B9C1A-37D2-4E0B-9F7C-5E2F1B7A9D11";
  const std::string held = ".zelto-upload-1E8B9C1A-37D2-4E0B-9F7C-5E2F1B7A9D11";
  const std::string folder = ".zelto-upload-2E8B9C1A-37D2-4E0B-9F7C-5E2F1B7A9D11";
  const std::string similar = ".zelto-upload-notes";
  for (const auto& name : {left, held, similar, folder + "/inner/file"}) server.write("share/" + name, "x");
  const int lock = ::open(server.path("share/" + held).c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(0, ::flock(lock, LOCK_EX));
  EXPECT_TRUE(isMissing(backend->stat("share/" + held)));
  EXPECT_FALSE(backend->open("share/" + held));
  const auto listing = backend->list("share");
  ASSERT_EQ(1U, listing->entries.size());
  EXPECT_EQ(similar, listing->entries.front().name);
  EXPECT_EQ(2U, entriesOnDisk("share")) << "somebody works on one of them";
  ::close(lock);
  EXPECT_TRUE(backend->list("share"));
  EXPECT_EQ(1U, entriesOnDisk("share"));
  EXPECT_EQ(EINVAL, codeOf(upload("share/" + left, staged("x"), true)));
}

TEST_F(LocalFolderWritesTest, NamesThatTheServerCannotHoldAreRefused) {
  server.write("share/file", "x");
  for (const std::string bad :
       {"", "share/", "share/.", "share/..", "share/a\xff", "share/a//", "/share/a"}) {
    EXPECT_FALSE(upload(bad, staged("x"))) << bad;
    EXPECT_FALSE(backend->createFolder(bad)) << bad;
    EXPECT_FALSE(backend->move("share/file", bad)) << bad;
    EXPECT_FALSE(remove(bad)) << bad;
  }
  const std::string nul("share/a\0b", 9);
  EXPECT_EQ(EINVAL, codeOf(backend->createFolder(nul)));
  const std::string tooLong = "share/" + std::string(256, 'n');
  EXPECT_EQ(kWriteInvalidFileNameError, codeOf(backend->createFolder(tooLong)));
  EXPECT_EQ(kWriteInvalidFileNameError, codeOf(backend->move("share/file", tooLong)));
  for (const std::string strange : {"share/two\nlines", "share/\x01", "share/-rf", "share/ "}) {
    EXPECT_TRUE(upload(strange, staged("x"), true)) << strange;
  }
}

TEST_F(LocalFolderWritesTest, WhatIsClosedStaysAsItIs) {
  server.write("closed/file", "old");
  server.folder("closed/folder");
  server.write("share/locked", "old");
  server.write("share/file", "old");
  ::chmod(server.path("closed").c_str(), 0555);
  ::chmod(server.path("share/locked").c_str(), 0444);
  EXPECT_FALSE(backend->stat("closed")->stat.writable) << "to the superuser as well";
  EXPECT_EQ(kWriteNoPermissionError, codeOf(upload("closed/file", staged("new"))));
  EXPECT_EQ(kWriteNoPermissionError, codeOf(upload("closed/new", staged("new"), true)));
  EXPECT_EQ(kWriteNoPermissionError, codeOf(upload("share/locked", staged("new"))));
  EXPECT_EQ(kWriteNoPermissionError, codeOf(backend->createFolder("closed/new")));
  EXPECT_EQ(kWriteNoPermissionError, codeOf(remove("closed/file")));
  EXPECT_EQ(kWriteNoPermissionError, codeOf(backend->move("closed/file", "share/moved")));
  EXPECT_EQ(kWriteNoPermissionError, codeOf(backend->move("share/file", "closed/moved")));
  EXPECT_TRUE(upload("closed/folder/new", staged("new"), true)) << "a folder below may be open";
  EXPECT_EQ("old", contentOf(server.path("closed/file")));
  EXPECT_EQ("old", contentOf(server.path("share/locked")));
  ::chmod(server.path("closed").c_str(), 0755);
}

TEST_F(LocalFolderWritesTest, NothingIsWrittenOutside) {
  std::filesystem::create_directories(server.own("outside"));
  std::ofstream(server.own("outside/file")) << "safe";
  ASSERT_EQ(0, ::symlink(server.own("outside").c_str(), server.path("share/out").c_str()));
  server.write("share/file", "x");
  for (const std::string path : {"share/out/file", "share/../../outside/file", "../outside/file"}) {
    EXPECT_FALSE(upload(path, staged("x"))) << path;
    EXPECT_FALSE(remove(path)) << path;
    EXPECT_FALSE(backend->move(path, "share/stolen")) << path;
    EXPECT_FALSE(backend->move("share/file", path)) << path;
  }
  EXPECT_FALSE(backend->createFolder("share/out/new"));
  EXPECT_TRUE(remove("share/out")) << "the link itself";
  EXPECT_EQ("safe", contentOf(server.own("outside/file")));
}

TEST_F(LocalFolderWritesTest, FoldersAreMadeOnce) {
  server.write("share/file", "x");
  const auto made = backend->createFolder("share/folder");
  ASSERT_TRUE(made);
  expectSame(*backend->stat("share/folder"), *made);
  EXPECT_EQ(kWriteFileExistsError, codeOf(backend->createFolder("share/folder")));
  EXPECT_EQ(kWriteFileExistsError, codeOf(backend->createFolder("share/file")));
  EXPECT_TRUE(isMissing(backend->createFolder("share/none/folder")));
}

TEST_F(LocalFolderWritesTest, RemovesWithAllContent) {
  server.write("share/tree/a/b/file", "x");
  server.write("share/tree/bad\xff", "");
  server.write("share/tree/.zelto-upload-0E8B9C1A-37D2-4E0B-9F7C-5E2F1B7A9D11", "");
  server.write("share/kept", "x");
  for (int i = 0; i < 250; ++i) server.write("share/tree/a/" + std::to_string(i), "");
  ASSERT_EQ(0, ::symlink("../kept", server.path("share/tree/link").c_str()));
  ASSERT_EQ(0, ::mkfifo(server.path("share/tree/pipe").c_str(), 0600));
  auto work = backend->remove("share/tree");
  ASSERT_TRUE(work);
  auto done = (*work)->step();
  for (; done && !*done; done = (*work)->step()) {
  }
  ASSERT_TRUE(done) << done.error().localizedDescription();
  EXPECT_EQ(258U, (*work)->amount().done);
  EXPECT_EQ(258U, (*work)->amount().total);
  EXPECT_EQ(1U, entriesOnDisk("share"));
  EXPECT_TRUE(isMissing(remove("share/tree")));
  EXPECT_TRUE(remove("share/kept"));
}

TEST_F(LocalFolderWritesTest, ARemovalThatFailsSaysWhereAndLeavesTheRest) {
  server.write("share/tree/a/file", "x");
  server.write("share/tree/closed/stays", "x");
  ::chmod(server.path("share/tree/closed").c_str(), 0555);
  const auto failed = remove("share/tree");
  EXPECT_EQ(kWriteNoPermissionError, codeOf(failed));
  EXPECT_NE(std::string::npos, failed.error().localizedDescription().find("share/tree/closed"));
  EXPECT_EQ("x", contentOf(server.path("share/tree/closed/stays")));
  ::chmod(server.path("share/tree/closed").c_str(), 0755);
}

TEST_F(LocalFolderWritesTest, MovesAndRenames) {
  server.write("share/file", "content");
  server.write("other/folder/inner", "x");
  ASSERT_EQ(0, ::symlink("inner", server.path("other/folder/link").c_str()));
  const auto renamed = backend->move("share/file", "share/FILE");
  ASSERT_TRUE(renamed) << "only the case changes";
  expectSame(*backend->stat("share/FILE"), *renamed);
  ASSERT_TRUE(backend->move("other/folder", "share/moved")) << "across shares";
  EXPECT_EQ("inner", backend->move("share/moved/link", "share/link")->linkTarget);
  EXPECT_EQ("content", contentOf(server.path("share/FILE")));
  EXPECT_EQ("x", contentOf(server.path("share/moved/inner")));
  expectSame(*backend->stat("share/moved"), *backend->move("share/moved", "share/moved"));
  EXPECT_EQ(kWriteFileExistsError, codeOf(backend->move("share/FILE", "share/moved/inner")));
  EXPECT_EQ("x", contentOf(server.path("share/moved/inner")));
  EXPECT_EQ(EINVAL, codeOf(backend->move("share/moved", "share/moved/below")));
  EXPECT_TRUE(isMissing(backend->move("share/none", "share/x")));
  EXPECT_TRUE(isMissing(backend->move("share/none", "share/none")));
  EXPECT_TRUE(isMissing(backend->move("share/FILE", "share/none/x")));
  // Two links of one file are two items.
  ASSERT_EQ(0, ::link(server.path("share/FILE").c_str(), server.path("share/file").c_str()));
  EXPECT_EQ(kWriteFileExistsError, codeOf(backend->move("share/FILE", "share/file")));
}

TEST_F(LocalFolderWritesTest, MovesBetweenVolumes) {
  server.write("other/tree/a/file", "content");
  server.write("other/single", "single");
  ASSERT_EQ(0, ::symlink("a/file", server.path("other/tree/link").c_str()));
  ::chmod(server.path("other/tree/a/file").c_str(), 0750);
  const std::array<std::timespec, 2> times{std::timespec{1, 0}, std::timespec{1'000'000'000, 123'456'789}};
  ::utimensat(AT_FDCWD, server.path("other/tree/a/file").c_str(), times.data(), 0);
  ::utimensat(AT_FDCWD, server.path("other/tree/a").c_str(), times.data(), 0);
  if (mountShare("size=4m")) {
    const auto refused = backend->move("other/tree", "share/tree");
    ASSERT_FALSE(refused);
    EXPECT_TRUE(isOtherVolume(refused.error())) << description(refused.error());
  }
  const auto file = backend->stat("other/tree/a/file");
  const auto moved = finished(backend->moveByCopying("other/tree", "share/tree"));
  ASSERT_TRUE(moved) << moved.error().localizedDescription();
  expectSame(*backend->stat("share/tree"), *moved);
  expectSame(*file, *backend->stat("share/tree/a/file"));
  EXPECT_EQ(0750U, server.status("share/tree/a/file").st_mode & 07777U);
  EXPECT_EQ(1'000'000'000, server.status("share/tree/a").st_mtim.tv_sec);
  EXPECT_EQ("a/file", backend->stat("share/tree/link")->linkTarget);
  EXPECT_FALSE(std::filesystem::exists(server.path("other/tree")));
  EXPECT_TRUE(finished(backend->moveByCopying("other/single", "share/single")));
  EXPECT_EQ("single", contentOf(server.path("share/single")));
  EXPECT_TRUE(finished(backend->moveByCopying("share/tree/link", "other/link")));
  EXPECT_EQ(kWriteFileExistsError, codeOf(finished(backend->moveByCopying("share/single", "share/tree"))));
  // Dropped on its way it leaves the original whole and nothing else.
  auto work = backend->moveByCopying("share/tree", "other/tree");
  ASSERT_TRUE(work && (*work)->step() && (*work)->step());
  work->reset();
  EXPECT_EQ(1U, entriesOnDisk("other"));
  EXPECT_EQ("content", contentOf(server.path("share/tree/a/file")));
}

TEST_F(LocalFolderWritesTest, AFullServerTakesNothingAndKeepsWhatItHas) {
  if (!mountShare("size=1m")) GTEST_SKIP() << "mounting is not allowed here";
  ASSERT_TRUE(upload("share/file", staged("old"), true));
  const auto failed = upload("share/file", staged(std::string(4'000'000, 'x')));
  EXPECT_EQ(kWriteOutOfSpaceError, codeOf(failed));
  EXPECT_NE(std::string::npos, failed.error().localizedDescription().find("share/file"));
  EXPECT_EQ("old", contentOf(server.path("share/file")));
  EXPECT_EQ(1U, entriesOnDisk("share"));
  server.write("other/large", std::string(4'000'000, 'x'));
  EXPECT_EQ(kWriteOutOfSpaceError, codeOf(finished(backend->moveByCopying("other/large", "share/large"))));
  EXPECT_EQ(1U, entriesOnDisk("share"));
  EXPECT_EQ(4'000'000U, backend->stat("other/large")->stat.size);
}

TEST_F(LocalFolderWritesTest, AReadOnlyVolumeIsSaidToBeOne) {
  if (!mountShare("size=1m")) GTEST_SKIP() << "mounting is not allowed here";
  server.write("share/file", "old");
  EXPECT_TRUE(backend->stat("share")->stat.writable);
  ASSERT_EQ(0, ::mount("none", server.path("share").c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr));
  EXPECT_FALSE(backend->stat("share")->stat.writable);
  EXPECT_FALSE(backend->stat("share/file")->stat.writable);
  EXPECT_EQ(kWriteVolumeReadOnlyError, codeOf(upload("share/file", staged("new"))));
  EXPECT_EQ(kWriteVolumeReadOnlyError, codeOf(remove("share/file")));
}

}  // namespace
}  // namespace zelto::test
