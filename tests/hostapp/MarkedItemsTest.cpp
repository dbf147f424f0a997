#include "tests/hostapp/HostFixture.h"

namespace zelto::test {
namespace {

TEST(NumberedName, StaysANameOfItsKind) {
  EXPECT_EQ("report (2).txt", numberedName("report.txt", false, 2));
  EXPECT_EQ("archive.tar (3).gz", numberedName("archive.tar.gz", false, 3));
  EXPECT_EQ("folder.d (2)", numberedName("folder.d", true, 2));
  EXPECT_EQ(".profile (2)", numberedName(".profile", false, 2));
  EXPECT_EQ("plain (10)", numberedName("plain", false, 10));
  std::string longName;
  while (longName.size() < 252) longName += "\xc3\xa9";
  const auto numbered = numberedName(longName + ".x", false, 2);
  EXPECT_LE(numbered.size(), 255U);
  EXPECT_TRUE(numbered.ends_with("\xc3\xa9 (2).x")) << "no character is cut";
}

// Marks, and what the extension is told when they change.
class MarkedItemsTest : public HostFixture {
 protected:
  void SetUp() override {
    server.write("share/dir/file", "x");
    start();
    list("/My Files/share");
    take();
    take();
  }
};

TEST_F(MarkedItemsTest, ABookmarkChangesItsItemAndTheContainer) {
  service->addBookmarkForPath("/My Files/share/dir");
  auto changes = awaitUpdate("/Bookmarks/dir");
  ASSERT_TRUE(changes.hasUpdate("/My Files/share/dir"));
  EXPECT_TRUE(isTrue(*changes.update("/My Files/share/dir"), "bookmarked"));
  EXPECT_EQ(4, changes.update("/Bookmarks/dir")->find("itemType")->integerValue());
  EXPECT_GT(signals, 0);
  restart();
  EXPECT_EQ(1U, list("/Bookmarks").size());
  // By the bookmark as well as by what it stands for.
  service->removeBookmarkForPath("/Bookmarks/dir");
  changes = awaitDeletion("/Bookmarks/dir");
  EXPECT_FALSE(isTrue(*changes.update("/My Files/share/dir"), "bookmarked"));
  EXPECT_TRUE(list("/Bookmarks").empty());
}

TEST_F(MarkedItemsTest, AnOfflineItemChangesWithItsOriginal) {
  service->makeAvailableOfflineForPath("/My Files/share/dir/file");
  auto changes = awaitUpdate("/Offline Files/file");
  EXPECT_TRUE(isTrue(*changes.update("/My Files/share/dir/file"), "offlineBookmark"));
  EXPECT_TRUE(isTrue(*changes.update("/Offline Files/file"), "offline"));
  list("/Offline Files");
  awaitWatcher();
  server.write("share/dir/file", "longer");
  changes = awaitUpdate("/Offline Files/file");
  EXPECT_EQ(6, changes.update("/Offline Files/file")->find("size")->integerValue());
  service->removeFromOfflineFilesForPath("/Offline Files/file");
  awaitDeletion("/Offline Files/file");
}

TEST_F(MarkedItemsTest, AFolderShownBelowABookmarkChangesThereToo) {
  service->addBookmarkForPath("/My Files/share/dir");
  awaitUpdate("/Bookmarks/dir");
  list("/Bookmarks/dir");
  awaitWatcher();
  server.write("share/dir/new", "x");
  const auto changes = awaitUpdate("/Bookmarks/dir/new");
  EXPECT_EQ("/Bookmarks/dir", textOf(*changes.update("/Bookmarks/dir/new"), "parentItemIdentifier"));
  EXPECT_FALSE(changes.hasUpdate("/My Files/share/dir/new")) << "it was never listed there";
}

TEST_F(MarkedItemsTest, MarksFollowWhatTheHostMoves) {
  server.write("share/other/file", "y");
  service->addBookmarkForPath("/My Files/share/dir/file");
  awaitUpdate("/Bookmarks/file");
  service->addBookmarkForPath("/My Files/share/other/file");
  awaitUpdate("/Bookmarks/file (2)");
  service->makeAvailableOfflineForPath("/My Files/share/dir");
  awaitUpdate("/Offline Files/dir");

  const auto moved = move("/My Files/share/dir/file", "/My Files/share/dir/new.txt");
  EXPECT_TRUE(isTrue(moved, "bookmarked")) << "the answer says so already";
  auto changes = awaitUpdate("/Bookmarks/new.txt");
  EXPECT_TRUE(changes.hasDeletion("/Bookmarks/file"));
  EXPECT_EQ("../My Files/share/dir/new.txt", textOf(*changes.update("/Bookmarks/new.txt"), "targetPath"));

  move("/My Files/share/dir", "/My Files/share/moved");
  changes = awaitUpdate("/Offline Files/moved");
  EXPECT_TRUE(changes.hasDeletion("/Offline Files/dir"));
  restart();
  const auto bookmarks = list("/Bookmarks");
  ASSERT_EQ(2U, bookmarks.size());
  ASSERT_NE(nullptr, named(bookmarks, "new.txt")) << "the name stays: its folder was moved";
  EXPECT_EQ("../My Files/share/moved/new.txt", textOf(*named(bookmarks, "new.txt"), "targetPath"));
  EXPECT_EQ(1U, list("/Offline Files/moved").size());
}

TEST_F(MarkedItemsTest, MarksGoWithWhatTheHostRemoves) {
  service->addBookmarkForPath("/My Files/share/dir/file");
  awaitUpdate("/Bookmarks/file");
  service->makeAvailableOfflineForPath("/My Files/share/dir");
  awaitUpdate("/Offline Files/dir");
  remove("/My Files/share/dir");
  takeUntil([](const Changes& changes) {
    return changes.hasDeletion("/Bookmarks/file") && changes.hasDeletion("/Offline Files/dir");
  });
  server.write("share/dir/file", "another");
  EXPECT_TRUE(list("/Bookmarks").empty());
  EXPECT_TRUE(list("/Offline Files").empty());
}

// Programs on the server replace files by removing and renaming; a volume may be away for a while.
TEST_F(MarkedItemsTest, AMarkHidesWhileItsItemIsAway) {
  service->addBookmarkForPath("/My Files/share/dir/file");
  awaitUpdate("/Bookmarks/file");
  awaitWatcher();
  server.remove("share/dir");
  awaitDeletion("/Bookmarks/file");
  EXPECT_TRUE(list("/Bookmarks").empty());
  server.folder("share/dir/file");
  const auto bookmarks = list("/Bookmarks");
  ASSERT_EQ(1U, bookmarks.size());
  EXPECT_TRUE(isTrue(bookmarks.front(), "isDir")) << "what it is now";
}

TEST_F(MarkedItemsTest, TheBadgeFollowsBelowABookmarkedFolderToo) {
  service->addBookmarkForPath("/My Files/share/dir");
  awaitUpdate("/Bookmarks/dir");
  list("/Bookmarks/dir");
  service->addBookmarkForPath("/Bookmarks/dir/file");
  const auto changes = awaitUpdate("/Bookmarks/dir/file");
  EXPECT_TRUE(isTrue(*changes.update("/Bookmarks/dir/file"), "bookmarked"));
}

TEST_F(MarkedItemsTest, ContainersThatAreNotShownDoNotChange) {
  parts->mode->set({false, false});
  service->addBookmarkForPath("/share/dir");
  const auto changes = awaitUpdate("/share/dir");
  EXPECT_EQ(1U, changes.updates.size());
}

}  // namespace
}  // namespace zelto::test
