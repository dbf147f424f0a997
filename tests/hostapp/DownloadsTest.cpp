#include <fstream>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "hostapp/BackendErrors.h"
#include "hostapp/TransferFile.h"
#include "tests/hostapp/HostFixture.h"

namespace zelto::test {
namespace {

class DownloadsTest : public HostFixture {
 protected:
  using Reply = std::tuple<std::optional<NSURL>, std::optional<NSDictionary>, std::optional<NSError>>;

  std::pair<std::shared_ptr<NSProgress>, std::future<Reply>> begin(const std::string& identifier) {
    auto [reply, future] =
        awaited<std::optional<NSURL>, std::optional<NSDictionary>, std::optional<NSError>>();
    auto progress = service->downloadItemWithPath(identifier, std::move(reply));
    return {progress, std::move(future)};
  }
  Reply download(const std::string& identifier) { return begin(identifier).second.get(); }
  long groupFiles() const {
    return std::distance(std::filesystem::directory_iterator(server.group() + "/host"),
                         std::filesystem::directory_iterator());
  }
  // A file that takes long to copy and little to make.
  void sparse(const std::string& name, off_t size) {
    server.write(name, "");
    ASSERT_EQ(0, ::truncate(server.path(name).c_str(), size));
  }
};

TEST_F(DownloadsTest, HandsOverACopyAndItsDescription) {
  server.write("share/file.txt", "content");
  start();
  auto [progress, future] = begin("/My Files/share/file.txt");
  const auto [url, dictionary, error] = future.get();
  ASSERT_TRUE(url && dictionary && !error);
  EXPECT_EQ("content", contentOf(url->path()));
  EXPECT_TRUE(url->path().starts_with(server.group() + "/"));
  EXPECT_EQ(36U, std::filesystem::path(url->path()).filename().native().size());
  EXPECT_EQ(std::string::npos,
            std::filesystem::path(url->path()).filename().native().find_first_of("abcdef"));
  EXPECT_EQ("/My Files/share/file.txt", textOf(*dictionary, "itemIdentifier"));
  EXPECT_EQ("/My Files/share", textOf(*dictionary, "parentItemIdentifier"));
  EXPECT_EQ(7, dictionary->find("size")->integerValue());
  EXPECT_EQ(7, progress->totalUnitCount());
  EXPECT_EQ(7, progress->completedUnitCount());
  EXPECT_EQ(7U, parts->counters->bytes());
  server.write("share/empty", "");
  const auto empty = download("/My Files/share/empty");
  EXPECT_EQ("", contentOf(std::get<0>(empty)->path()));
}

TEST_F(DownloadsTest, ThroughABookmarkAndAnOfflineFolder) {
  server.write("share/dir/file", "content");
  start();
  parts->marks->add(MarkKind::bookmark, "/My Files/share/dir");
  parts->marks->add(MarkKind::offline, "/My Files/share/dir/file");
  const auto viaBookmark = download("/Bookmarks/dir/file");
  ASSERT_TRUE(std::get<1>(viaBookmark));
  EXPECT_EQ("/Bookmarks/dir/file", textOf(*std::get<1>(viaBookmark), "itemIdentifier"));
  const auto viaOffline = download("/Offline Files/file");
  ASSERT_TRUE(std::get<1>(viaOffline));
  EXPECT_TRUE(isTrue(*std::get<1>(viaOffline), "offline"));
  EXPECT_EQ("content", contentOf(std::get<0>(viaOffline)->path()));
}

TEST_F(DownloadsTest, FailuresNameThePathAndLeaveNothingBehind) {
  server.write("share/file", "x");
  start();
  for (const std::string bad :
       {"/My Files/share/none", "/My Files/../x", "/Bookmarks/none", "/", "", "/My Files/share/file/below"}) {
    const auto [url, dictionary, error] = download(bad);
    EXPECT_FALSE(url || dictionary);
    ASSERT_TRUE(error) << bad;
    EXPECT_TRUE(isNoSuchItem(*error)) << description(*error);
  }
  const auto folder = std::get<2>(download("/My Files/share"));
  ASSERT_TRUE(folder);
  EXPECT_FALSE(isNoSuchItem(*folder));
  EXPECT_NE(std::string::npos, folder->localizedDescription().find("share"));
  std::filesystem::remove_all(server.group());
  EXPECT_TRUE(std::get<2>(download("/My Files/share/file"))) << "no place for the copy";
  std::filesystem::create_directories(server.group() + "/host");
  EXPECT_EQ(0, groupFiles());
}

TEST_F(DownloadsTest, ACancelledDownloadEndsAndLeavesNothingBehind) {
  sparse("share/large", 40'000'000'000);
  start();
  auto [progress, future] = begin("/My Files/share/large");
  ASSERT_TRUE(eventually([p = progress] { return p->completedUnitCount() > 0; }));
  progress->cancel();
  const auto error = std::get<2>(future.get());
  ASSERT_TRUE(error);
  EXPECT_EQ(NSCocoaErrorDomain, error->domain());
  EXPECT_EQ(3072, error->code());
  EXPECT_TRUE(eventually([this] { return groupFiles() == 0; }));
}

TEST_F(DownloadsTest, LongDownloadsLeaveRoomForEverythingElse) {
  server.write("share/small", "small");
  for (int i = 0; i < 6; ++i) sparse("share/large" + std::to_string(i), 40'000'000'000);
  start();
  std::vector<std::pair<std::shared_ptr<NSProgress>, std::future<Reply>>> running;
  for (int i = 0; i < 6; ++i) running.push_back(begin("/My Files/share/large" + std::to_string(i)));
  EXPECT_EQ(7U, list("/My Files/share").size());
  EXPECT_EQ("small", contentOf(std::get<0>(download("/My Files/share/small"))->path()));
  for (auto& [progress, future] : running) {
    EXPECT_EQ(std::future_status::timeout, future.wait_for(std::chrono::seconds(0)));
    progress->cancel();
  }
  for (auto& [progress, future] : running) EXPECT_TRUE(std::get<2>(future.get()));
}

TEST_F(DownloadsTest, NobodyGetsACopyThatNobodyWaitsFor) {
  sparse("share/large", 40'000'000'000);
  start();
  auto [progress, future] = begin("/My Files/share/large");
  ASSERT_TRUE(eventually([p = progress] { return p->completedUnitCount() > 0; }));
  service->abandon();
  EXPECT_TRUE(eventually([this] { return groupFiles() == 0; }));
}

TEST_F(DownloadsTest, AFileThatChangesMeanwhileIsCopiedAgain) {
  server.write("share/busy", std::string(100'000, 'x'));
  changesWhileRead = 2;
  start();
  const auto url = std::get<0>(download("/My Files/share/busy"));
  ASSERT_TRUE(url);
  EXPECT_EQ(100'000U, std::filesystem::file_size(url->path()));
}

TEST_F(DownloadsTest, AFileThatKeepsChangingIsGivenUp) {
  server.write("share/busy", std::string(100'000, 'x'));
  changesWhileRead = 1'000;
  start();
  const auto error = std::get<2>(download("/My Files/share/busy"));
  ASSERT_TRUE(error);
  EXPECT_NE(std::string::npos, error->localizedDescription().find("share/busy"));
  EXPECT_EQ(0, groupFiles());
}

TEST_F(DownloadsTest, OnlyItsOwnLeftoversAreRemovedAtTheStart) {
  server.folder("share");
  const std::string name = "0E8B9C1A-37D2-4E0B-9F7C-5E2F1B7A9D11";
  std::ofstream(server.group() + "/" + name) << "of the extension";
  std::filesystem::create_directory(server.group() + "/host");
  std::ofstream(server.group() + "/host/" + name) << "of a host that was killed";
  std::ofstream(server.group() + "/host/notes") << "of somebody else";
  start();
  EXPECT_EQ(1, groupFiles());
  EXPECT_TRUE(std::filesystem::exists(server.group() + "/host/notes"));
  EXPECT_TRUE(std::filesystem::exists(server.group() + "/" + name));
}

}  // namespace
}  // namespace zelto::test
