#include <fstream>

#include <fcntl.h>
#include <unistd.h>

#include "platform/fileprovider/NSFileProviderTypes.h"
#include "tests/hostapp/HostFixture.h"

namespace zelto::test {
namespace {

class ListingsTest : public HostFixture {
 protected:
  DictionaryList shares() {
    auto [reply, future] = awaited<DictionaryList>();
    service->metadataForSharesWithCompletion(std::move(reply));
    return std::get<0>(future.get());
  }
  DictionaryList bookmarks() {
    auto [reply, future] = awaited<DictionaryList>();
    service->metadataForBookmarksWithCompletion(std::move(reply));
    return std::get<0>(future.get());
  }
  DictionaryList offlineFiles() {
    auto [reply, future] = awaited<DictionaryList>();
    service->metadataForRootOfflineFilesWithCompletion(std::move(reply));
    return std::get<0>(future.get());
  }
};

TEST_F(ListingsTest, FilesAreDescribedAndFalseIsLeftOut) {
  server.write("share/notes.txt", "hello");
  const timespec times[2] = {{1'700'000'000, 0}, {1'700'000'000, 123'456'789}};
  ::utimensat(AT_FDCWD, server.path("share/notes.txt").c_str(), times, 0);
  start();
  const auto items = list("/My Files/share");
  ASSERT_EQ(1U, items.size());
  const NSDictionary expected{{"itemType", 8},
                              {"itemIdentifier", "/My Files/share/notes.txt"},
                              {"parentItemIdentifier", "/My Files/share"},
                              {"name", "notes.txt"},
                              {"dateModified", NSDate::fromTimespec(times[1])},
                              {"size", 5},
                              {"mimeType", "text/plain"},
                              {"canShowCheckoutStatus", true},
                              {"canCheckOut", true},
                              {"shareWritable", true}};
  EXPECT_EQ(expected, items.front()) << description(items.front());
}

TEST_F(ListingsTest, FoldersLinksHiddenAndReadOnlyItems) {
  server.folder("share/folder");
  server.write("share/.hidden", "");
  server.write("share/locked", "");
  ::chmod(server.path("share/locked").c_str(), 0444);
  ASSERT_EQ(0, ::symlink("folder/x", server.path("share/link").c_str()));
  start();
  const auto items = list("/My Files/share");
  ASSERT_EQ(4U, items.size());
  const auto& folder = *named(items, "folder");
  EXPECT_EQ(9, folder.find("itemType")->integerValue());
  EXPECT_TRUE(isTrue(folder, "isDir"));
  EXPECT_EQ(nullptr, folder.find("size"));
  EXPECT_EQ(nullptr, folder.find("mimeType"));
  EXPECT_EQ(10, named(items, "link")->find("itemType")->integerValue());
  EXPECT_EQ("folder/x", textOf(*named(items, "link"), "targetPath"));
  EXPECT_TRUE(isTrue(*named(items, ".hidden"), "hidden"));
  EXPECT_EQ(nullptr, folder.find("hidden"));
  EXPECT_EQ(nullptr, named(items, "locked")->find("shareWritable"));
}

TEST_F(ListingsTest, SharesAreTheFoldersOfTheServedFolder) {
  server.folder("one");
  server.folder("two words");
  server.write("a file", "is no share");
  start({true, false});
  auto listed = shares();
  ASSERT_EQ(2U, listed.size());
  const auto* two = named(listed, "two words");
  EXPECT_EQ(5, two->find("itemType")->integerValue());
  EXPECT_EQ("/My Files/two words", textOf(*two, "itemIdentifier"));
  EXPECT_EQ("/My Files", textOf(*two, "parentItemIdentifier"));
  EXPECT_EQ(NSDate::fromTimespec(server.status("two words").st_mtim), *two->find("dateLoaded")->asDate());
  EXPECT_TRUE(isTrue(*two, "shareWritable"));
  parts->mode->set({false, false});
  listed = shares();
  EXPECT_EQ("/two words", textOf(*named(listed, "two words"), "itemIdentifier"));
  EXPECT_EQ(NSFileProviderRootContainerItemIdentifier,
            textOf(*named(listed, "two words"), "parentItemIdentifier"));
}

TEST_F(ListingsTest, WhatCannotBeListedIsEmptyAndBadNamesAreLoggedOnce) {
  server.write("share/bad\xffname", "");
  server.write("share/good", "");
  start();
  EXPECT_EQ(1U, list("/My Files/share").size());
  EXPECT_EQ(1U, list("/My Files/share").size());
  for (const std::string bad :
       {"/My Files/none", "/My Files/share/good", "/My Files/../..", "", "/Elsewhere"}) {
    EXPECT_TRUE(list(bad).empty()) << bad;
  }
  parts->log->flush();
  const auto log = contentOf(server.own("host.log"));
  const auto first = log.find("is not shown");
  EXPECT_NE(std::string::npos, first) << log;
  EXPECT_EQ(std::string::npos, log.find("is not shown", first + 1)) << log;
}

TEST_F(ListingsTest, BookmarksAreLinksIntoTheVolume) {
  server.write("share/dir/file.txt", "x");
  server.write("other/dir/inner/deep", "x");
  start();
  EXPECT_FALSE(parts->marks->add(MarkKind::bookmark, "/My Files/share/dir"));
  EXPECT_FALSE(parts->marks->add(MarkKind::bookmark, "/My Files/other/dir"));
  EXPECT_FALSE(parts->marks->add(MarkKind::bookmark, "/My Files/share/dir")) << "is there already";
  EXPECT_TRUE(parts->marks->add(MarkKind::bookmark, "/My Files/share/none"));
  const auto listed = bookmarks();
  ASSERT_EQ(2U, listed.size());
  const auto& second = *named(listed, "dir (2)");
  EXPECT_EQ(4, second.find("itemType")->integerValue());
  EXPECT_EQ("/Bookmarks/dir (2)", textOf(second, "itemIdentifier"));
  EXPECT_EQ("/Bookmarks", textOf(second, "parentItemIdentifier"));
  EXPECT_EQ("../My Files/other/dir", textOf(second, "targetPath"));
  EXPECT_TRUE(isTrue(second, "isDir"));
  EXPECT_NE(nullptr, second.find("dateCreated")->asDate());
  // What lies behind a bookmark is listed below it, at any depth.
  auto [reply, future] = awaited<DictionaryList>();
  service->metadataForDirectoryWithBookmarkPath("/Bookmarks/dir (2)", std::move(reply));
  const auto inside = std::get<0>(future.get());
  ASSERT_EQ(1U, inside.size());
  EXPECT_EQ("/Bookmarks/dir (2)/inner", textOf(inside.front(), "itemIdentifier"));
  const auto deeper = list("/Bookmarks/dir (2)/inner");
  ASSERT_EQ(1U, deeper.size());
  EXPECT_EQ("/Bookmarks/dir (2)/inner", textOf(deeper.front(), "parentItemIdentifier"));
  EXPECT_TRUE(isTrue(*named(list("/My Files/share"), "dir"), "bookmarked"));
}

TEST_F(ListingsTest, OfflineItemsAreShownAsSuch) {
  server.write("share/a/same.txt", "1");
  server.write("share/b/same.txt", "22");
  server.write("share/folder/inner", "333");
  start();
  for (const auto* path :
       {"/My Files/share/a/same.txt", "/My Files/share/b/same.txt", "/My Files/share/folder"}) {
    EXPECT_FALSE(parts->marks->add(MarkKind::offline, path)) << path;
  }
  auto items = offlineFiles();
  ASSERT_EQ(3U, items.size());
  const auto& second = *named(items, "same (2).txt");
  EXPECT_EQ("/Offline Files/same (2).txt", textOf(second, "itemIdentifier"));
  EXPECT_EQ("/Offline Files", textOf(second, "parentItemIdentifier"));
  EXPECT_TRUE(isTrue(second, "offline"));
  EXPECT_EQ(2, second.find("size")->integerValue());
  const auto inside = list("/Offline Files/folder");
  ASSERT_EQ(1U, inside.size());
  EXPECT_EQ("/Offline Files/folder/inner", textOf(inside.front(), "itemIdentifier"));
  EXPECT_TRUE(isTrue(inside.front(), "offline"));
  EXPECT_TRUE(isTrue(*named(list("/My Files/share"), "folder"), "offlineBookmark"));
  server.remove("share/folder");
  items = offlineFiles();
  EXPECT_EQ(2U, items.size()) << "what is gone is not shown";
}

}  // namespace
}  // namespace zelto::test
