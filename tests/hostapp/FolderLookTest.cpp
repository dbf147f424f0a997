#include <chrono>
#include <mutex>
#include <set>

#include <gtest/gtest.h>

#include "hostapp/FolderWatcher.h"
#include "hostapp/LocalFolderBackend.h"
#include "tests/hostapp/DeafBackend.h"
#include "tests/hostapp/HostFixture.h"

namespace zelto::test {
namespace {

// The watcher where the system tells it little or nothing.
class FolderLookTest : public ::testing::Test {
 protected:
  void SetUp() override {
    server.write("share/dir/file", "1");
    backend = std::make_shared<DeafBackend>(*LocalFolderBackend::serving(server.root()));
    store = *HostStore::open(server.own("host.db"));
  }
  void make(std::chrono::milliseconds interval) {
    watcher = std::make_unique<FolderWatcher>(
        backend, store,
        [this](const std::vector<PathChange>& changes) {
          const std::lock_guard lock(mutex);
          for (const auto& change : changes) seen.insert("?udr"[static_cast<int>(change.kind)] + change.path);
        },
        [this](const std::string&) { ++lines; }, interval);
    watcher->start();
    for (const auto* folder : {"share", "share/dir"}) {
      auto listing = watcher->beginListing(folder, "S");
      watcher->finishListing(std::move(listing), backend->list(folder));
    }
    ASSERT_TRUE(eventually([this] { return watcher->counts().folders == 3; }));
  }
  bool awaitChange(const std::string& change) {
    return eventually([this, &change] {
      const std::lock_guard lock(mutex);
      return seen.contains(change);
    });
  }

  ServerFolder server;
  std::shared_ptr<DeafBackend> backend;
  std::shared_ptr<HostStore> store;
  std::mutex mutex;
  std::set<std::string> seen;
  std::atomic<int> lines = 0;
  std::unique_ptr<FolderWatcher> watcher;  // the last one: its thread uses the others
};

TEST_F(FolderLookTest, LostEventsAreMadeUpForByLooking) {
  make(std::chrono::hours(1));
  server.write("share/dir/file", "22");
  server.write("share/new", "1");
  backend->emit({.folder = "", .name = "", .lost = true});
  EXPECT_TRUE(awaitChange("ushare/dir/file"));
  EXPECT_TRUE(awaitChange("ushare/new"));
}

TEST_F(FolderLookTest, FoldersThatCannotBeWatchedAreLookedAtNowAndThen) {
  backend->watches = false;
  make(std::chrono::milliseconds(20));
  EXPECT_EQ(3U, watcher->counts().unwatched);
  server.write("share/dir/file", "22");
  EXPECT_TRUE(awaitChange("ushare/dir/file"));
  server.remove("share/dir");
  EXPECT_TRUE(awaitChange("dshare/dir"));
  EXPECT_EQ(1, lines) << "one line says so, not one for each folder and look";
}

TEST_F(FolderLookTest, AFloodOfEventsIsCutShort) {
  make(std::chrono::hours(1));
  server.write("share/dir/file", "22");
  for (int i = 0; i < 250'000; ++i) backend->emit({.folder = "share", .name = std::to_string(i)});
  backend->emit({.folder = "share/dir", .name = "file"});
  EXPECT_TRUE(awaitChange("ushare/dir/file"));
}

// An event of a folder that is being listed for the first time waits for the listing.
TEST_F(FolderLookTest, EventsDuringTheFirstListingAreKept) {
  make(std::chrono::hours(1));
  server.write("share/other/file", "1");
  auto listing = watcher->beginListing("share/other", "S");
  auto before = backend->list("share/other");
  server.write("share/other/file", "22");
  backend->emit({.folder = "share/other", .name = "file"});
  // Long enough for the event to be dealt with, were it not kept.
  server.write("share/new", "1");
  backend->emit({.folder = "share", .name = "new"});
  ASSERT_TRUE(awaitChange("ushare/new"));
  watcher->finishListing(std::move(listing), std::move(before));
  EXPECT_TRUE(awaitChange("ushare/other/file"));
}

// Two listings of one folder that overlap: the one that began first shows less, and ends last.
TEST_F(FolderLookTest, AnOlderListingIsFollowedByWhatIsNew) {
  make(std::chrono::hours(1));
  auto older = watcher->beginListing("share/dir", "S");
  auto seenByOlder = backend->list("share/dir");
  server.write("share/dir/new", "1");
  auto newer = watcher->beginListing("share/dir", "S");
  watcher->finishListing(std::move(newer), backend->list("share/dir"));
  ASSERT_TRUE(awaitChange("ushare/dir/new"));
  {
    const std::lock_guard lock(mutex);
    seen.clear();
  }
  watcher->finishListing(std::move(older), std::move(seenByOlder));
  EXPECT_TRUE(awaitChange("ushare/dir/new")) << "the extension has been shown a listing without it";
}

}  // namespace
}  // namespace zelto::test
