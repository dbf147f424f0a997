#include <csignal>

#include <gtest/gtest.h>
#include <sys/wait.h>

#include "hostapp/BackendErrors.h"
#include "hostapp/Host.h"
#include "platform/foundation/NSFileManager.h"
#include "tests/bus/PrivateBus.h"
#include "tests/hostapp/HostFixture.h"
#include "tests/hostapp/StandInProvider.h"

namespace zelto::test {
namespace {

// Changes asked for over a real connection, of a host in this process or in one of its own.
class HostWritesConnectionTest : public ::testing::Test {
 protected:
  using Reply = std::tuple<std::optional<NSDictionary>, std::optional<NSError>>;

  void SetUp() override {
    // The containers carry their tokens as names.
    ::setenv("ZELTO_RESOURCES", "/nonexistent", 1);
    bus.start();
    server.write("share/file", "old");
    options.folder = server.root();
  }
  void TearDown() override {
    host.reset();
    provider.leave();
    if (process > 0) ::kill(process, SIGKILL), ::waitpid(process, nullptr, 0);
  }
  void startHost() {
    auto started = Host::start(options, [] {});
    ASSERT_TRUE(started) << started.error().localizedDescription();
    host = std::move(*started);
  }
  // In a process of its own, which is killed at the named point. REQUIRES: this one has no threads yet.
  void forkHost(const char* killPoint) {
    process = ::fork();
    if (process != 0) return;
    ::setenv("ZELTO_KILL_POINT", killPoint, 1);
    const auto forked = Host::start(options, [] {});
    for (;;) ::pause();
  }
  void awaitConnections(int count) {
    ASSERT_TRUE(eventually([this, count] { return provider.connections == count && provider.server(); }));
  }
  std::string group() const {
    return NSFileManager::defaultManager()
        .containerURLForSecurityApplicationGroupIdentifier("KZ83MQ41TX.com.zelto.macos")
        ->path();
  }
  NSURL staged(std::string_view content) {
    const auto path = group() + "/staged" + std::to_string(++files);
    std::ofstream(path, std::ios::binary) << content;
    return NSURL::fileURL(path);
  }
  std::pair<std::shared_ptr<NSProgress>, std::future<Reply>> upload(const std::string& identifier,
                                                                    std::string_view content, bool creating) {
    auto [reply, future] = awaited<std::optional<NSDictionary>, std::optional<NSError>>();
    auto progress = provider.server()->uploadFileWithPath(identifier, staged(content), creating,
                                                          NSDate::now(), std::move(reply));
    return {progress, std::move(future)};
  }
  long stagedFiles() const {
    long count = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(group())) {
      count += entry.is_regular_file() ? 1 : 0;
    }
    return count;
  }

  PrivateBus bus;
  ServerFolder server;
  HostOptions options;
  StandInProvider provider;
  std::unique_ptr<Host> host;
  pid_t process = 0;
  int files = 0;
};

TEST_F(HostWritesConnectionTest, EveryChangeAndItsFailureIsAnswered) {
  provider.appear();
  startHost();
  awaitConnections(1);
  auto [progress, future] = upload("/share/new", "content", true);
  const auto [made, error] = future.get();
  ASSERT_TRUE(made) << error->localizedDescription();
  EXPECT_EQ(7, made->find("size")->integerValue());
  EXPECT_TRUE(
      eventually([p = progress] { return p->totalUnitCount() == 7 && p->completedUnitCount() == 7; }));
  const auto exists = std::get<1>(upload("/share/new", "other", true).second.get());
  ASSERT_TRUE(exists);
  EXPECT_EQ(kWriteFileExistsError, exists->code());
  EXPECT_EQ("content", contentOf(server.path("share/new")));
  auto [folderReply, folder] = awaited<std::optional<NSDictionary>, std::optional<NSError>>();
  provider.server()->createDirectoryWithPath("/share/folder", false, std::move(folderReply));
  EXPECT_TRUE(std::get<0>(folder.get()));
  auto [moveReply, moved] = awaited<std::optional<NSDictionary>, std::optional<NSError>>();
  provider.server()->moveItemWithPath("/share/new", "/share/folder/new", std::move(moveReply));
  EXPECT_EQ("/share/folder/new", textOf(*std::get<0>(moved.get()), "itemIdentifier"));
  auto [deleteReply, deleted] = awaited<std::optional<NSError>>();
  provider.server()->deleteItemWithPath("/share/folder", std::move(deleteReply));
  EXPECT_FALSE(std::get<0>(deleted.get()));
  EXPECT_FALSE(std::filesystem::exists(server.path("share/folder")));
  EXPECT_EQ(0, stagedFiles());
}

class HostKilledConnectionTest : public HostWritesConnectionTest,
                                 public ::testing::WithParamInterface<const char*> {};
INSTANTIATE_TEST_SUITE_P(Points, HostKilledConnectionTest,
                         ::testing::Values("upload.staged", "upload.copied", "upload.renamed"),
                         [](const auto& point) { return std::string(point.param).substr(7); });

TEST_P(HostKilledConnectionTest, TheNextHostCleansUpAndTakesItOnceMore) {
  forkHost(GetParam());
  provider.appear();
  awaitConnections(1);
  auto [progress, future] = upload("/share/file", "new content", false);
  int status = 0;
  ::waitpid(std::exchange(process, 0), &status, 0);
  ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
  const bool shown = std::string_view(GetParam()) == "upload.renamed";
  EXPECT_EQ(shown ? "new content" : "old", contentOf(server.path("share/file")));
  startHost();
  awaitConnections(2);
  EXPECT_EQ(0, stagedFiles());
  EXPECT_TRUE(std::get<0>(upload("/share/file", "newer content", false).second.get()));
  EXPECT_EQ("newer content", contentOf(server.path("share/file")));
  EXPECT_EQ(0, stagedFiles());
}

// The next host has no reason to look into the folder but its own note. Content with a second name is copied.
TEST_F(HostWritesConnectionTest, WhatAKilledHostHasHiddenInAFolderThatNobodyListsIsRemoved) {
  server.folder("share/deep");
  forkHost("upload.copied");
  provider.appear();
  awaitConnections(1);
  const auto content = staged("content");
  ASSERT_EQ(0, ::link(content.path().c_str(), server.own("second name").c_str()));
  auto [reply, future] = awaited<std::optional<NSDictionary>, std::optional<NSError>>();
  provider.server()->uploadFileWithPath("/share/deep/file", content, true, NSDate::now(), std::move(reply));
  int status = 0;
  ::waitpid(std::exchange(process, 0), &status, 0);
  ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
  ASSERT_FALSE(std::filesystem::is_empty(server.path("share/deep")));
  startHost();
  EXPECT_TRUE(eventually([this] { return std::filesystem::is_empty(server.path("share/deep")); }));
}

}  // namespace
}  // namespace zelto::test
