#include "model/FileProviderUtils.h"
#include "model/ZeltoIdentifiers.h"
#include "support/ZeltoLocalise.h"
#include "tests/extension/Fixture.h"

namespace zelto::test {
namespace {

class IdentifiersTest : public ExtensionFixture {};

TEST_F(IdentifiersTest, ContainersHaveTheirFixedRecords) {
  struct Expected {
    FileProviderItemPtr item;
    std::string identifier;
    std::optional<std::string> parent;
    std::string name;
  };
  const auto root = NSFileProviderRootContainerItemIdentifier;
  const Expected expected[] = {
      {FileProviderItem::providerItemForRoot(), root, std::nullopt, "Zelto"},
      {FileProviderItem::providerItemForTrash(), NSFileProviderTrashContainerItemIdentifier, std::nullopt,
       "Trash"},
      {FileProviderItem::providerItemForWorkingSet(), NSFileProviderWorkingSetContainerItemIdentifier,
       std::nullopt, "Recent"},
      {FileProviderItem::providerItemForMyFiles(), "/My Files", root, "My Files"},
      {FileProviderItem::providerItemForOfflineFiles(), "/Offline Files", root, "Offline Files"},
      {FileProviderItem::providerItemForBookmarks(), "/Bookmarks", root, "Bookmarks"}};
  for (const auto& [item, identifier, parent, name] : expected) {
    EXPECT_EQ(identifier, item->itemIdentifier());
    EXPECT_EQ(parent, item->parentItemIdentifier());
    EXPECT_EQ(name, item->filename());
    EXPECT_TRUE(item->flags().isDirectory);
    EXPECT_EQ(UTType::folder(), item->contentType());
    EXPECT_EQ(item->creationDate(), item->contentModificationDate());
    EXPECT_EQ(NSFileProviderContentPolicy::downloadLazilyAndEvictOnRemoteUpdate, item->contentPolicy());
    EXPECT_EQ(item, FileProviderItem::providerItemForStaticIdentifier(identifier));
  }
}

TEST_F(IdentifiersTest, NamesOfContainersFollowTheTablesOfTheirFirstUse) {
  ZeltoLocalise::instance().setLocalisedStrings({{"MY_FILES", "Meine Dateien"}});
  EXPECT_EQ("/Meine Dateien", FileProviderItem::identifierForMyFiles());
  ZeltoLocalise::instance().setLocalisedStrings({});
  EXPECT_EQ("/Meine Dateien", FileProviderItem::identifierForMyFiles());
  EXPECT_TRUE(FileProviderUtils::isMyFilesIdentifier("/Meine Dateien"));
  EXPECT_EQ("/Bookmarks", FileProviderItem::identifierForBookmarks());
}

TEST_F(IdentifiersTest, ComparisonIsExact) {
  EXPECT_TRUE(FileProviderUtils::isRootIdentifier("/"));
  EXPECT_TRUE(FileProviderUtils::isRootIdentifier(NSFileProviderRootContainerItemIdentifier));
  EXPECT_FALSE(FileProviderUtils::isRootIdentifier(""));
  EXPECT_FALSE(FileProviderUtils::isMyFilesIdentifier("/My Files/"));
  EXPECT_FALSE(FileProviderUtils::isMyFilesIdentifier("/my files"));
  EXPECT_FALSE(FileProviderUtils::isBookmarksDirectoryIdentifier("Bookmarks"));
  EXPECT_FALSE(FileProviderItem::providerItemForStaticIdentifier("/Bookmarks/"));
  EXPECT_EQ("KZ83MQ41TX.com.zelto.macos", ZeltoIdentifiers::groupIdentifier());
  EXPECT_EQ("KZ83MQ41TX", ZeltoIdentifiers::teamIdentifier());
}

TEST_F(IdentifiersTest, BookmarkItemsLieExactlyOneLevelBelowTheirContainer) {
  EXPECT_TRUE(FileProviderUtils::isBookmarkItemIdentifier("/Bookmarks/b"));
  EXPECT_FALSE(FileProviderUtils::isBookmarkItemIdentifier("/Bookmarks"));
  EXPECT_FALSE(FileProviderUtils::isBookmarkItemIdentifier("/Bookmarks/b/c"));
  EXPECT_FALSE(FileProviderUtils::isBookmarkItemIdentifier("/Share/b"));
}

}  // namespace
}  // namespace zelto::test
