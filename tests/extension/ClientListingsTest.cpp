#include <algorithm>
#include <thread>

#include "tests/extension/Fixture.h"

namespace zelto::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

NSDictionary shareDictionary(const std::string& path) {
  return {{"itemType", 5}, {"itemIdentifier", path}, {"parentItemIdentifier", "/"}, {"name", path.substr(1)}};
}

NSDictionary bookmarkDictionary(const std::string& name) {
  return {{"itemType", 4}, {"itemIdentifier", "/Bookmarks/" + name}, {"name", name}};
}

class ClientListingsTest : public ExtensionFixture {
 protected:
  void listShares(Items& items) { client().providerItemsForSharesWithCompletion(items.completion()); }
  void listBookmarks(Items& items) { client().providerItemsForBookmarksWithCompletion(items.completion()); }
  void retrieveChanges() {
    Outcome<FileProviderItemList, std::vector<std::string>> changes;
    client().retrieveChanges(changes.completion());
    EXPECT_EQ(1, changes.count());
  }
};

TEST_F(ClientListingsTest, SharesAreFetchedOnceAndAnsweredEmptyMeanwhile) {
  host().lists["shares"] = {shareDictionary("/A"), shareDictionary("/B")};
  host().hold("shares");
  Items first, second, third;
  listShares(first);
  listShares(second);
  EXPECT_EQ(0, first.count());
  ASSERT_EQ(1, second.count());
  EXPECT_THAT(second.get(), IsEmpty());
  host().release("shares");
  EXPECT_THAT(identifiersOf(first.get()), ElementsAre("/A", "/B"));
  listShares(third);
  EXPECT_EQ(first.get(), third.get());
  EXPECT_THAT(host().calls(), ElementsAre("shares"));
  EXPECT_THAT(host().messages(), ElementsAre("FP[Client] Retrieved Shares (Count=2)"));
}

TEST_F(ClientListingsTest, SharesStayEmptyWhereNoHostAnsweredUntilAChangeList) {
  const auto kept = client().server();
  client().setServer(nullptr);
  Items dropped, empty, fresh;
  listShares(dropped);
  EXPECT_TRUE(dropped.destroyed());
  EXPECT_EQ(0, dropped.count());
  client().setServer(kept);
  host().lists["shares"] = {shareDictionary("/A")};
  listShares(empty);
  EXPECT_THAT(empty.get(), IsEmpty());
  retrieveChanges();
  listShares(fresh);
  EXPECT_THAT(identifiersOf(fresh.get()), ElementsAre("/A"));
}

TEST_F(ClientListingsTest, OverlappingBookmarkListingsBothAskAndTheLaterReplyStays) {
  host().hold("bookmarks");
  Items first, second, third;
  listBookmarks(first);
  listBookmarks(second);
  host().lists["bookmarks"] = {bookmarkDictionary("new")};
  host().releaseOne("bookmarks", 1);
  host().lists["bookmarks"] = {bookmarkDictionary("old"),
                               {{"itemType", 4}, {"itemIdentifier", "/Bookmarks/x"}}};
  host().releaseOne("bookmarks", 0);
  EXPECT_THAT(identifiersOf(second.get()), ElementsAre("/Bookmarks/new"));
  // Without a name: left out of the reply and of the cache.
  EXPECT_THAT(identifiersOf(first.get()), ElementsAre("/Bookmarks/old"));
  listBookmarks(third);
  EXPECT_THAT(identifiersOf(third.get()), ElementsAre("/Bookmarks/old"));
  EXPECT_THAT(host().calls(), ElementsAre("bookmarks", "bookmarks"));
  EXPECT_THAT(host().linesWith("Retrieved"), ElementsAre("DEBUG FP[Client] Retrieved Bookmarks (Count=1)",
                                                         "DEBUG FP[Client] Retrieved Bookmarks (Count=1)"));
}

TEST_F(ClientListingsTest, ChangesSkipWhatGivesNoItemAndClearBothCaches) {
  host().lists["shares"] = {shareDictionary("/A")};
  Items shares, bookmarks;
  listShares(shares);
  listBookmarks(bookmarks);
  host().changed = {fileDictionary("/A/a"), {{"itemType", 99}}, {{"itemType", 0}}};
  host().deleted = {"/A/gone"};
  Outcome<FileProviderItemList, std::vector<std::string>> changes;
  client().retrieveChanges(changes.completion());
  EXPECT_THAT(identifiersOf(changes.get<0>()),
              ElementsAre("/A/a", NSFileProviderRootContainerItemIdentifier));
  EXPECT_THAT(changes.get<1>(), ElementsAre("/A/gone"));
  EXPECT_THAT(host().linesWith("FP[CHANGES]"),
              ElementsAre("WARN FP[CHANGES] Skipping nil item for {\n    itemType = 99;\n}"));
  EXPECT_THAT(host().linesWith("FP[CLIENT]"), ElementsAre("INFO FP[CLIENT] Invalidating cached items"));
  listShares(shares);
  listBookmarks(bookmarks);
  EXPECT_THAT(host().calls(), ElementsAre("shares", "bookmarks", "changes", "shares", "bookmarks"));
}

TEST_F(ClientListingsTest, AnEmptyChangeListClearsTheCachesToo) {
  Items shares;
  listShares(shares);
  retrieveChanges();
  listShares(shares);
  EXPECT_THAT(host().calls(), ElementsAre("shares", "changes", "shares"));
}

TEST_F(ClientListingsTest, UncachedListingsConvertByTheirFactories) {
  host().lists["/Bookmarks/b"] = {fileDictionary("/S/x")};
  host().lists["offline"] = {folderDictionary("/Offline Files/d"),
                             {{"itemType", 5}, {"itemIdentifier", "/S"}}};
  Items bookmark, offline;
  client().providerItemsForBookmarkIdentifier("/Bookmarks/b", bookmark.completion());
  client().providerItemsForRootOfflineFilesWithCompletion(offline.completion());
  EXPECT_THAT(identifiersOf(bookmark.get()), ElementsAre("/S/x"));
  EXPECT_THAT(identifiersOf(offline.get()), ElementsAre("/Offline Files/d", "/S"));
  EXPECT_EQ(FileProviderItemTypeShare, offline.get()[1]->itemType());
  EXPECT_THAT(host().messages(), ElementsAre("FP[Client] Retrieved Bookmark Dir: '/Bookmarks/b' (Count=1)"));
}

TEST_F(ClientListingsTest, ADictionaryThatDescribesNothingCostsNoOtherItem) {
  host().lists["/S"] = {fileDictionary("/S/a"), {{"itemType", 8}}, {}, fileDictionary("/S/b")};
  Items items;
  client().providerItemsForDirectory("/S", true, items.completion());
  EXPECT_THAT(identifiersOf(items.get()), ElementsAre("/S/a", "/S/b"));
  EXPECT_THAT(host().calls(), ElementsAre("directory /S 1"));
}

TEST_F(ClientListingsTest, SecondListingInFlightPausesOnceAndStillGoesAhead) {
  using Clock = std::chrono::steady_clock;
  host().hold("/S");
  Items first, second, third;
  client().providerItemsForDirectory("/S", false, first.completion());
  auto start = Clock::now();
  client().providerItemsForDirectory("/S", false, second.completion());
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(500));
  EXPECT_EQ(2U, host().calls().size());
  // The reply takes the path out of the set.
  host().release("/S");
  EXPECT_EQ(1, first.count());
  EXPECT_EQ(1, second.count());
  // One try may be held up by a busy machine; a pause would hold every one up.
  auto shortest = Clock::duration::max();
  for (int i = 0; i < 5; ++i) {
    start = Clock::now();
    client().providerItemsForDirectory("/S", false, third.completion());
    shortest = std::min(shortest, Clock::now() - start);
  }
  EXPECT_LT(shortest, std::chrono::milliseconds(500));
}

TEST_F(ClientListingsTest, AListingThatNobodyAnsweredPausesTheNextOneForGood) {
  using Clock = std::chrono::steady_clock;
  const auto kept = client().server();
  client().setServer(nullptr);
  Items dropped, next;
  client().providerItemsForDirectory("/S", false, dropped.completion());
  EXPECT_TRUE(dropped.destroyed());
  client().setServer(kept);
  const auto start = Clock::now();
  client().providerItemsForDirectory("/S", false, next.completion());
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(500));
  EXPECT_EQ(1, next.count());
}

TEST_F(ClientListingsTest, OnlyWhatLiesBelowAShareIsReportedAsInvalidated) {
  for (const auto* path : {"/a", "/", "", "/My Files/a", "/Bookmarks/b", "/Offline Files/c"}) {
    client().enumeratorInvalidatedPath(path);
  }
  client().enumeratorInvalidatedPath("/a/b");
  client().enumeratorInvalidatedPath("/My Files/a/b");
  EXPECT_THAT(host().calls(), ElementsAre("invalidated /a/b", "invalidated /My Files/a/b"));
}

TEST_F(ClientListingsTest, ConcurrentListingsOfManyDirectoriesEachGetTheirOwn) {
  constexpr int kThreads = 4;
  constexpr int kListings = 50;
  for (int i = 0; i < kThreads * kListings; ++i) {
    const auto path = "/S/" + std::to_string(i);
    host().lists[path] = {fileDictionary(path + "/a")};
  }
  std::atomic<int> right = 0;
  std::vector<std::jthread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([thread, &right] {
      for (int i = 0; i < kListings; ++i) {
        const auto path = "/S/" + std::to_string(thread * kListings + i);
        client().providerItemsForDirectory(path, false, [&right, path](const FileProviderItemList& items) {
          if (items.size() == 1 && items[0]->parentItemIdentifier() == path) ++right;
        });
        client().providerItemsForSharesWithCompletion([](const FileProviderItemList&) {});
        client().invalidateCache();
      }
    });
  }
  threads.clear();
  EXPECT_EQ(kThreads * kListings, right);
}

}  // namespace
}  // namespace zelto::test
