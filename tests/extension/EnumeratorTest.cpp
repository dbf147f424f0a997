#include <future>

#include "enumeration/FileProviderEnumerator.h"
#include "enumeration/FileProviderEnumeratorCache.h"
#include "model/FileProviderUtils.h"
#include "tests/extension/Fixture.h"

namespace zelto::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Type = FileProviderEnumerator::Type;

class Observer final : public NSFileProviderEnumerationObserver, public NSFileProviderChangeObserver {
 public:
  std::vector<std::string> events;

  void didEnumerateItems(const std::vector<NSFileProviderItemPtr>& items) override {
    add("items", identifiersOf(items));
  }
  void finishEnumeratingUpToPage(const std::optional<NSFileProviderPage>& nextPage) override {
    events.push_back(nextPage ? "page" : "end");
  }
  void didUpdateItems(const std::vector<NSFileProviderItemPtr>& items) override {
    add("updated", identifiersOf(items));
  }
  void didDeleteItemsWithIdentifiers(const std::vector<std::string>& identifiers) override {
    add("deleted", identifiers);
  }
  void finishEnumeratingChangesUpToSyncAnchor(const NSFileProviderSyncAnchor& anchor,
                                              bool moreComing) override {
    events.push_back("anchor " + std::string(anchor.text()) + (moreComing ? " more" : ""));
  }
  void finishEnumeratingWithError(const NSError&) override { events.emplace_back("error"); }

 private:
  void add(std::string event, const std::vector<std::string>& identifiers) {
    for (const auto& identifier : identifiers) event += " " + identifier;
    events.push_back(std::move(event));
  }
};

class EnumeratorTest : public ExtensionFixture {
 protected:
  static auto route(const std::string& identifier) {
    return FileProviderEnumerator::enumeratorForIdentifier(identifier);
  }
  static std::vector<std::string> list(const std::string& identifier) {
    auto observer = std::make_shared<Observer>();
    route(identifier)->enumerateItemsForObserver(observer, NSData());
    return observer->events;
  }
};

TEST_F(EnumeratorTest, IdentifiersAreRoutedToTheirTypes) {
  const std::pair<std::string, Type> routes[] = {
      {"/", Type::root},
      {NSFileProviderRootContainerItemIdentifier, Type::root},
      {NSFileProviderTrashContainerItemIdentifier, Type::trash},
      {NSFileProviderWorkingSetContainerItemIdentifier, Type::workingSet},
      {"/My Files", Type::myFiles},
      {"/Offline Files", Type::offlineFiles},
      {"/Bookmarks", Type::bookmarks},
      {"/Bookmarks/b", Type::bookmark},
      {"/Bookmarks/b/c", Type::directory},
      {"/Share", Type::directory},
      {"", Type::directory}};
  for (const auto& [identifier, type] : routes) {
    EXPECT_EQ(type, route(identifier)->enumeratorType()) << identifier;
  }
  EXPECT_EQ(NSFileProviderRootContainerItemIdentifier, route("/")->identifier());
  EXPECT_EQ(route("/"), FileProviderEnumerator::enumeratorForRoot());
  EXPECT_NE(route("/Bookmarks/b"), route("/Bookmarks/b"));
}

TEST_F(EnumeratorTest, DirectoryEnumeratorsAreKeptBeyondInvalidation) {
  const auto first = route("/S/d");
  EXPECT_EQ(first, route("/S/d"));
  first->invalidate();
  EXPECT_EQ(first, route("/S/d"));
  EXPECT_THAT(host().calls(), ElementsAre("invalidated /S/d"));
  EXPECT_THAT(host().linesWith("FP[dirs]"), ElementsAre("DEBUG FP[dirs] Added /S/d"));
  for (const auto* container : {"/", "/My Files", "/Bookmarks/b"}) route(container)->invalidate();
  EXPECT_EQ(1U, host().calls().size());
}

TEST_F(EnumeratorTest, RootShowsWhatTheHostHasSwitchedOn) {
  host().lists["shares"] = {{{"itemType", 5}, {"itemIdentifier", "/A"}}};
  EXPECT_THAT(list("/"), ElementsAre("items /A", "end"));
  client().updateUseMyFiles(false, true);
  EXPECT_THAT(list("/"), ElementsAre("items /A", "end"));
  client().updateUseMyFiles(true, false);
  EXPECT_THAT(list("/"), ElementsAre("items /My Files /Bookmarks", "end"));
  client().updateUseMyFiles(true, true);
  EXPECT_THAT(list("/"), ElementsAre("items /My Files /Bookmarks /Offline Files", "end"));
  EXPECT_THAT(list("/My Files"), ElementsAre("items /A", "end"));
  EXPECT_THAT(host().linesWith("Update Config"),
              ElementsAre("INFO FP[Client] Update Config (UseMyFiles=0, UseOfflineFiles=1)",
                          "INFO FP[Client] Update Config (UseMyFiles=1, UseOfflineFiles=0)",
                          "INFO FP[Client] Update Config (UseMyFiles=1, UseOfflineFiles=1)"));
}

TEST_F(EnumeratorTest, EachContainerListsFromItsOwnSource) {
  host().lists["/S/d"] = {fileDictionary("/S/d/a"), folderDictionary("/S/d/e")};
  host().lists["/Bookmarks/b"] = {fileDictionary("/S/x")};
  host().lists["bookmarks"] = {{{"itemType", 4}, {"itemIdentifier", "/Bookmarks/b"}, {"name", "b"}}};
  host().lists["offline"] = {folderDictionary("/Offline Files/d")};
  EXPECT_THAT(list("/S/d"), ElementsAre("items /S/d/a /S/d/e", "end"));
  EXPECT_THAT(list("/Bookmarks/b"), ElementsAre("items /S/x", "end"));
  EXPECT_THAT(list("/Bookmarks"), ElementsAre("items /Bookmarks/b", "end"));
  EXPECT_THAT(list("/Offline Files"), ElementsAre("items /Offline Files/d", "end"));
  EXPECT_THAT(list(NSFileProviderWorkingSetContainerItemIdentifier),
              ElementsAre("items " + NSFileProviderRootContainerItemIdentifier, "end"));
  EXPECT_THAT(list(NSFileProviderTrashContainerItemIdentifier), ElementsAre("items", "end"));
  EXPECT_THAT(host().calls(),
              ElementsAre("directory /S/d 0", "bookmark /Bookmarks/b", "bookmarks", "offline"));
  EXPECT_THAT(host().linesWith("FP[List]")[0], "DEBUG FP[List] /S/d (count=2)");
}

TEST_F(EnumeratorTest, TheTrashHasNoListAtAll) {
  Outcome<std::optional<FileProviderItemList>> children;
  FileProviderEnumerator::enumeratorForTrash()->retrieveChildItemsForceUseCache(true, children.completion());
  EXPECT_EQ(1, children.count());
  EXPECT_FALSE(children.get());
}

TEST_F(EnumeratorTest, AnUnknownTypeIsLoggedAndHasNoList) {
  FileProviderEnumerator enumerator("/S", static_cast<Type>(8));
  Outcome<std::optional<FileProviderItemList>> children;
  enumerator.retrieveChildItemsForceUseCache(true, children.completion());
  EXPECT_FALSE(children.get());
  EXPECT_THAT(host().linesWith("FP[List]"), ElementsAre("WARN FP[List] Unrecognised item '/S'"));
}

TEST_F(EnumeratorTest, ChangesAreReportedDeletionsFirstUpToTheGivenAnchor) {
  const auto changes = [this](const char* anchor) {
    auto observer = std::make_shared<Observer>();
    route("/S")->enumerateChangesForObserver(observer, NSData::copyOf(anchor));
    return observer->events;
  };
  EXPECT_THAT(changes("one"), ElementsAre("anchor one"));
  host().changed = {fileDictionary("/elsewhere/a")};
  host().deleted = {"/S/x", "/S/y"};
  EXPECT_THAT(changes("two"), ElementsAre("deleted /S/x /S/y", "updated /elsewhere/a", "anchor two"));
  EXPECT_THAT(host().linesWith("FP[SYNC]"), ElementsAre("DEBUG FP[SYNC] Updating (changes=0, deletions=0)",
                                                        "DEBUG FP[SYNC] Updating (changes=1, deletions=2)"));
}

TEST_F(EnumeratorTest, TheAnchorIsThePresentTime) {
  const auto before = NSDate::now();
  Outcome<std::optional<NSFileProviderSyncAnchor>> anchor;
  route("/")->currentSyncAnchorWithCompletionHandler(anchor.completion());
  const auto date = FileProviderUtils::dateFromData(anchor.get().value());
  ASSERT_TRUE(date);
  EXPECT_LE(before, *date);
  EXPECT_GE(NSDate::now(), *date);
}

TEST_F(EnumeratorTest, CacheReplacesRemovesByIdentifierAndDumpsInOrder) {
  auto& cache = FileProviderEnumeratorCache::manager();
  const auto make = [](std::optional<std::string> identifier) {
    return std::make_shared<FileProviderEnumerator>(std::move(identifier), Type::directory);
  };
  const auto second = make("/b");
  cache.add(make("/b"));
  cache.add(second);
  cache.add(make("/a"));
  cache.add(make(std::nullopt));
  EXPECT_EQ(second, cache.enumeratorForIdentifier("/b"));
  cache.dump();
  cache.removeDirectory(make("/b"));
  EXPECT_FALSE(cache.containsIdentifier("/b"));
  EXPECT_TRUE(cache.containsIdentifier("/a"));
  EXPECT_THAT(host().messages(), ElementsAre("FP[dirs] Added /b", "FP[dirs] Added /b", "FP[dirs] Added /a",
                                             "    • /a", "    • /b", "FP[dirs] Removing /b"));
}

class LookupTest : public ExtensionFixture {
 protected:
  using Found = std::pair<FileProviderItemPtr, std::optional<NSError>>;

  static Found find(const std::string& identifier) {
    std::promise<Found> found;
    auto result = found.get_future();
    const auto progress = FileProviderItem::findProviderItemForIdentifier(
        identifier, [&found](FileProviderItemPtr item, std::optional<NSError> error) {
          found.set_value({std::move(item), std::move(error)});
        });
    EXPECT_EQ(0, progress->totalUnitCount());
    return result.get();
  }
};

TEST_F(LookupTest, StaticItemsNeedNoHost) {
  client().setServer(nullptr);
  EXPECT_EQ(FileProviderItem::providerItemForRoot(), find("/").first);
  EXPECT_EQ(FileProviderItem::providerItemForTrash(), find(NSFileProviderTrashContainerItemIdentifier).first);
  EXPECT_EQ(FileProviderItem::providerItemForMyFiles(), find("/My Files").first);
}

TEST_F(LookupTest, OthersAreFoundAmongTheirParentsChildren) {
  host().lists["/S/d"] = {fileDictionary("/S/d/A"), fileDictionary("/S/d/a")};
  host().lists["bookmarks"] = {{{"itemType", 4}, {"itemIdentifier", "/Bookmarks/b"}, {"name", "b"}}};
  host().lists["shares"] = {{{"itemType", 5}, {"itemIdentifier", "/S"}}};
  EXPECT_EQ("/S/d/a", find("/S/d/a").first->itemIdentifier());
  EXPECT_EQ(FileProviderItemTypeBookmark, find("/Bookmarks/b").first->itemType());
  EXPECT_EQ(FileProviderItemTypeShare, find("/S").first->itemType());
  EXPECT_THAT(host().calls(), ElementsAre("directory /S/d 1", "bookmarks", "shares"));
}

TEST_F(LookupTest, WhatNobodyListsGivesNoSuchItem) {
  const auto [item, error] = find("/S/missing");
  EXPECT_FALSE(item);
  ASSERT_TRUE(error);
  EXPECT_EQ(NSFileProviderErrorDomain, error->domain());
  EXPECT_EQ(NSFileProviderErrorNoSuchItem, error->code());
  EXPECT_EQ("Cannot find identifier", error->localizedDescription());
  EXPECT_THAT(host().linesWith("FP[Find]"), ElementsAre("DEBUG FP[Find] Failed to find /S/missing"));
  // A share is a child of the root only while my files are off.
  client().updateUseMyFiles(true, true);
  EXPECT_FALSE(find("/S").first);
}

}  // namespace
}  // namespace zelto::test
