#include <algorithm>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "hostapp/BackendErrors.h"
#include "hostapp/LocalFolderBackend.h"
#include "tests/hostapp/ServerFolder.h"

namespace zelto::test {
namespace {

class LocalFolderBackendTest : public ::testing::Test {
 protected:
  void SetUp() override {
    server.folder("share");
    backend = *LocalFolderBackend::serving(server.root());
  }
  std::vector<std::string> names(const std::string& folder) {
    std::vector<std::string> found;
    const auto listing = backend->list(folder);
    EXPECT_TRUE(listing) << folder;
    if (!listing) return found;
    for (const auto& entry : listing->entries) found.push_back(entry.name);
    std::sort(found.begin(), found.end());
    return found;
  }

  ServerFolder server;
  std::shared_ptr<LocalFolderBackend> backend;
};

TEST_F(LocalFolderBackendTest, ListsFilesFoldersAndLinksAsTheyAre) {
  server.write("share/file.txt", "12345");
  server.folder("share/folder");
  ASSERT_EQ(0, ::symlink("../../outside or nothing", server.path("share/link").c_str()));
  ASSERT_EQ(0, ::mkfifo(server.path("share/pipe").c_str(), 0600));
  const auto listing = backend->list("share");
  ASSERT_TRUE(listing);
  EXPECT_EQ((std::vector<std::string>{"file.txt", "folder", "link"}), names("share"));
  for (const auto& entry : listing->entries) {
    const auto status = server.status("share/" + entry.name);
    EXPECT_EQ(status.st_ino, entry.stat.inode);
    EXPECT_EQ(status.st_mtim.tv_sec, entry.stat.modified.tv_sec);
    EXPECT_EQ(status.st_mtim.tv_nsec, entry.stat.modified.tv_nsec);
    if (entry.name == "file.txt") {
      EXPECT_EQ(5U, entry.stat.size);
    }
    if (entry.name == "folder") {
      EXPECT_EQ(EntryKind::folder, entry.stat.kind);
    }
    if (entry.name == "link") {
      EXPECT_EQ("../../outside or nothing", entry.linkTarget);
    }
  }
  EXPECT_EQ(server.status("share").st_ino, listing->inode);
}

TEST_F(LocalFolderBackendTest, ShowsEveryNameThatIsText) {
  const std::vector<std::string> strange = {" two  blanks ", "quote\"'\\",         "line\nbreak",
                                            "caf\xc3\xa9",   "cafe\xcc\x81",       "-rf",
                                            "...",           std::string(255, 'x')};
  for (const auto& name : strange) server.write("share/" + name, name);
  server.write("share/bad\xff", "");
  const auto listing = backend->list("share");
  ASSERT_TRUE(listing);
  auto expected = strange;
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(expected, names("share"));
  EXPECT_EQ(std::vector<std::string>{"bad\xff"}, listing->unusableNames);
  for (const auto& name : strange) EXPECT_TRUE(backend->stat("share/" + name)) << name;
}

TEST_F(LocalFolderBackendTest, NeverLeavesItsFolder) {
  server.write("share/inside", "x");
  std::ofstream(server.own("secret")) << "secret";
  ASSERT_EQ(0, ::symlink(server.own("").c_str(), server.path("share/out").c_str()));
  ASSERT_EQ(0, ::symlink("inside", server.path("share/near").c_str()));
  ASSERT_EQ(0, ::symlink("/proc/self/root", server.path("magic").c_str()));
  for (const std::string bad : {"..", "../secret", "share/../../secret", "share/out/secret", "/etc/passwd",
                                "", "share//inside", "share/./inside", "share/", "magic/etc/passwd", "."}) {
    EXPECT_FALSE(backend->open(bad)) << bad;
    if (!bad.empty()) {
      EXPECT_FALSE(backend->list(bad)) << bad;
    }
  }
  const std::string nul("share/inside\0x", 14);
  EXPECT_FALSE(backend->open(nul));
  // A link is shown, but neither followed nor read, also one that stays inside.
  EXPECT_EQ(EntryKind::symbolicLink, backend->stat("share/out")->stat.kind);
  EXPECT_FALSE(backend->list("share/out"));
  EXPECT_FALSE(backend->open("share/near"));
  EXPECT_FALSE(backend->statNames("share", {"../../secret"})->front());
  EXPECT_TRUE(backend->open("share/inside"));
}

TEST_F(LocalFolderBackendTest, ReachesFoldersDeeperThanOnePathCanName) {
  const std::string name(200, 'd');
  std::string path = "share";
  int folder = ::open(server.path("share").c_str(), O_PATH | O_DIRECTORY);
  for (int depth = 0; depth < 30; ++depth) {
    ASSERT_EQ(0, ::mkdirat(folder, name.c_str(), 0755));
    const int next = ::openat(folder, name.c_str(), O_PATH | O_DIRECTORY);
    ::close(folder);
    folder = next;
    path += "/" + name;
  }
  ::close(::openat(folder, "leaf", O_CREAT | O_WRONLY, 0644));
  ::close(folder);
  ASSERT_GT(path.size(), 4096U);
  EXPECT_EQ(std::vector<std::string>{"leaf"}, names(path));
  EXPECT_TRUE(backend->open(path + "/leaf"));
}

TEST_F(LocalFolderBackendTest, ErrorsSayWhatAndWhere) {
  const auto missing = backend->open("share/none");
  ASSERT_FALSE(missing);
  EXPECT_TRUE(isNoSuchItem(missing.error()));
  EXPECT_NE(std::string::npos, missing.error().localizedDescription().find("share/none"));
  EXPECT_TRUE(isNoSuchItem(backend->list("share/none/deeper").error()));
  server.write("share/file", "");
  EXPECT_TRUE(isNoSuchItem(backend->list("share/file").error()));
  const auto folder = backend->open("share");
  ASSERT_FALSE(folder);
  EXPECT_EQ(kReadUnknownError, folder.error().code());
  EXPECT_EQ(kReadNoPermissionError, backendError(EACCES, "x").code());
  EXPECT_EQ(kWriteOutOfSpaceError, backendError(ENOSPC, "x").code());
}

TEST_F(LocalFolderBackendTest, WritableFollowsThePermissionBits) {
  server.write("share/open/file", "");
  server.write("share/open/locked", "");
  server.write("share/closed/file", "");
  ::chmod(server.path("share/open/locked").c_str(), 0444);
  ::chmod(server.path("share/closed").c_str(), 0555);
  EXPECT_TRUE(backend->stat("share/open")->stat.writable);
  EXPECT_TRUE(backend->stat("share/open/file")->stat.writable);
  EXPECT_FALSE(backend->stat("share/open/locked")->stat.writable);
  EXPECT_FALSE(backend->stat("share/closed")->stat.writable);
  EXPECT_FALSE(backend->stat("share/closed/file")->stat.writable);
  EXPECT_FALSE((*backend->open("share/closed/file"))->stat()->stat.writable);
  ::chmod(server.path("share/closed").c_str(), 0755);
}

TEST_F(LocalFolderBackendTest, AnOpenedFileStaysTheSameFile) {
  server.write("share/file", "first");
  auto file = backend->open("share/file");
  ASSERT_TRUE(file);
  server.write("share/other", "second!");
  server.rename("share/other", "share/file");
  std::array<std::byte, 16> buffer{};
  EXPECT_EQ(5U, (*file)->readAt(buffer, 0).value());
  EXPECT_EQ(5U, (*file)->stat()->stat.size);
  EXPECT_EQ(7U, backend->stat("share/file")->stat.size);
}

}  // namespace
}  // namespace zelto::test
