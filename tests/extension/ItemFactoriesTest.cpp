#include "model/FileProviderUtils.h"
#include "tests/extension/Fixture.h"

namespace zelto::test {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

class ItemFactoriesTest : public ExtensionFixture {
 protected:
  static FileProviderItemPtr make(const NSDictionary& dictionary) {
    return FileProviderItem::providerItemForDictionary(dictionary);
  }
};

const auto kDate = NSDate::sinceReferenceDate(700000000.25);
const auto kOtherDate = NSDate::sinceReferenceDate(600000000);

TEST_F(ItemFactoriesTest, FileTakesEveryFieldOfItsDictionary) {
  const NSDictionary attributes{{"com.example.tag", NSData::copyOf("red")}};
  const auto item = make(fileDictionary("/Share/a.txt", {{"dateModified", kDate},
                                                         {"size", 4711},
                                                         {"mimeType", "text/plain"},
                                                         {"shareWritable", true},
                                                         {"hidden", "yes"},
                                                         {"xattr", attributes},
                                                         {"bguploading", 1},
                                                         {"bookmarked", true},
                                                         {"offlineBookmark", true},
                                                         {"canOpenWithOfficeOnline", true},
                                                         {"openWithOffice365", true}}));
  ASSERT_TRUE(item);
  EXPECT_EQ("/Share/a.txt", item->itemIdentifier());
  EXPECT_EQ("/Share", item->parentItemIdentifier());
  EXPECT_EQ("a.txt", item->filename());
  EXPECT_EQ(FileProviderItemTypeFile, item->itemType());
  EXPECT_EQ(4711, item->documentSize());
  EXPECT_EQ(kDate, item->creationDate());
  EXPECT_EQ(kDate, item->contentModificationDate());
  EXPECT_EQ(kDate, item->lastUsedDate());
  EXPECT_EQ(UTType::typeWithMIMEType("text/plain"), item->contentType());
  EXPECT_EQ(NSFileProviderContentPolicy::downloadLazilyAndEvictOnRemoteUpdate, item->contentPolicy());
  EXPECT_EQ(0U, item->childItemCount());
  EXPECT_FALSE(item->childCount());
  ASSERT_TRUE(item->extendedAttributes());
  EXPECT_EQ(attributes, *item->extendedAttributes());
  const auto& flags = item->flags();
  EXPECT_TRUE(flags.isShareWritable && flags.isHidden && flags.isBackgroundUploading && flags.canBookmark &&
              flags.isBookmarked && flags.isOfflineBookmark && flags.canOpenWithOfficeOnline &&
              flags.canOpenWithOffice365);
  EXPECT_FALSE(flags.isDirectory || flags.isOfflineFile || flags.isOfflineShare);
}

TEST_F(ItemFactoriesTest, CheckoutFieldsCountOnlyBehindTheirGate) {
  const NSDictionary fields{{"canCheckOut", true},           {"canCheckIn", true},
                            {"checkoutLabel", "by Ann"},     {"checkedOutByCurrentUser", true},
                            {"checkedOutByOtherUser", true}, {"checkoutManager", true}};
  auto gated = fields;
  gated.set("canShowCheckoutStatus", false);
  const auto closed = make(fileDictionary("/S/a", gated));
  EXPECT_FALSE(closed->flags().canCheckOut || closed->flags().canCheckIn || closed->flags().checkOutManager);
  EXPECT_FALSE(closed->checkoutLabel());

  gated.set("canShowCheckoutStatus", true);
  const auto open = make(fileDictionary("/S/a", gated));
  const auto& flags = open->flags();
  EXPECT_TRUE(flags.canShowCheckoutStatus && flags.canCheckOut && flags.canCheckIn &&
              flags.checkedOutByCurrentUser && flags.checkedOutByOtherUser && flags.checkOutManager);
  EXPECT_EQ("by Ann", open->checkoutLabel());
  // A folder has none of it.
  EXPECT_FALSE(make(folderDictionary("/S/d", gated))->flags().canShowCheckoutStatus);
}

TEST_F(ItemFactoriesTest, IsDirDecidesBetweenFileAndFolderWhateverTheTypeSays) {
  const auto file = make(fileDictionary("/S/a", {{"itemType", 9}, {"size", 5}}));
  EXPECT_EQ(FileProviderItemTypeFile, file->itemType());
  EXPECT_FALSE(file->flags().isDirectory);
  const auto folder = make(folderDictionary("/S/d", {{"itemType", 8}, {"size", 5}}));
  EXPECT_EQ(FileProviderItemTypeDirectory, folder->itemType());
  EXPECT_EQ(UTType::folder(), folder->contentType());
  EXPECT_FALSE(folder->documentSize());
  // Replies of uploads carry no type at all.
  auto untyped = FileProviderItem::providerItemForFileDictionary(
      {{"itemIdentifier", "/S/a"}, {"parentItemIdentifier", "/S"}, {"name", "a"}});
  ASSERT_TRUE(untyped);
  EXPECT_EQ(FileProviderItemTypeFile, untyped->itemType());
  EXPECT_EQ(UTType::typeWithMIMEType("application/octet-stream"), untyped->contentType());
}

TEST_F(ItemFactoriesTest, SymbolicLinkHasATargetAndNoneOfTheOnlineFields) {
  const auto link = make(fileDictionary("/S/l", {{"itemType", 10},
                                                 {"targetPath", "../x"},
                                                 {"isDir", true},
                                                 {"bookmarked", true},
                                                 {"shareWritable", true}}));
  EXPECT_EQ(FileProviderItemTypeSymbolicLink, link->itemType());
  EXPECT_EQ(UTType::symbolicLink(), link->contentType());
  EXPECT_EQ("../x", link->symlinkTargetPath());
  EXPECT_FALSE(link->flags().isDirectory || link->flags().isBookmarked || link->flags().canBookmark);
}

TEST_F(ItemFactoriesTest, OfflineFileCannotBeBookmarked) {
  EXPECT_FALSE(make(fileDictionary("/S/a", {{"offline", true}}))->flags().canBookmark);
}

TEST_F(ItemFactoriesTest, ShareIsAFolderOfItsOwnType) {
  const auto share = make({{"itemType", 5},
                           {"itemIdentifier", "/Share"},
                           {"parentItemIdentifier", "/"},
                           {"name", "Share"},
                           {"dateLoaded", kDate},
                           {"shareWritable", true},
                           {"offlineShare", true},
                           {"hidden", true}});
  EXPECT_EQ(FileProviderItemTypeShare, share->itemType());
  EXPECT_EQ(kDate, share->contentModificationDate());
  EXPECT_EQ(kDate, share->lastUsedDate());
  EXPECT_EQ(UTType::folder(), share->contentType());
  const auto& flags = share->flags();
  EXPECT_TRUE(flags.isDirectory && flags.isShareWritable && flags.isOfflineShare);
  EXPECT_FALSE(flags.canBookmark || flags.isHidden);
  // Nothing of it is checked for presence.
  EXPECT_TRUE(make({{"itemType", 5}}));
}

TEST_F(ItemFactoriesTest, BookmarkIsALinkThatKeepsAnUncheckedSizeOnlyAsAFolder) {
  const NSDictionary dictionary{{"itemType", 4},          {"itemIdentifier", "/Bookmarks/b"}, {"name", "b"},
                                {"dateCreated", kDate},   {"targetPath", "/S/deep"},          {"size", "12"},
                                {"offlineBookmark", true}};
  const auto file = make(dictionary);
  EXPECT_EQ(FileProviderItemTypeBookmark, file->itemType());
  EXPECT_EQ(UTType::symbolicLink(), file->contentType());
  EXPECT_EQ("/S/deep", file->symlinkTargetPath());
  EXPECT_EQ(kDate, file->creationDate());
  EXPECT_FALSE(file->documentSize());
  EXPECT_TRUE(file->flags().canBookmark && file->flags().isBookmarked && file->flags().isOfflineBookmark);
  auto folder = dictionary;
  folder.set("isDir", true);
  EXPECT_TRUE(make(folder)->flags().isDirectory);
  EXPECT_EQ(12, make(folder)->documentSize());
}

TEST_F(ItemFactoriesTest, LinkServiceEntryNeverKeepsTheHostsDate) {
  const auto before = NSDate::now();
  const auto item =
      make({{"itemType", 11}, {"itemIdentifier", "/x"}, {"dateCreated", kOtherDate}, {"size", 7}});
  EXPECT_EQ(FileProviderItemTypeLinkService, item->itemType());
  EXPECT_EQ(1024, item->documentSize());
  EXPECT_GE(*item->creationDate(), before);
  EXPECT_EQ(item->creationDate(), item->lastUsedDate());
  EXPECT_EQ(UTType::typeWithMIMEType("application/octet-stream"), item->contentType());
}

TEST_F(ItemFactoriesTest, DispatchGivesSharedContainersAndRefusesWhatAHostMayNotSend) {
  EXPECT_EQ(FileProviderItem::providerItemForRoot(), make({{"itemType", 0}, {"name", "ignored"}}));
  EXPECT_EQ(FileProviderItem::providerItemForMyFiles(), make({{"itemType", 1}}));
  EXPECT_EQ(FileProviderItem::providerItemForOfflineFiles(), make({{"itemType", 2}}));
  EXPECT_EQ(FileProviderItem::providerItemForBookmarks(), make({{"itemType", 3}}));
  for (const auto& bad : {NSDictionary{{"itemType", 6}}, NSDictionary{{"itemType", 7}},
                          NSDictionary{{"itemType", 12}}, NSDictionary{{"itemType", -1}}}) {
    EXPECT_FALSE(make(bad));
  }
  EXPECT_FALSE(make({{"itemType", "8"}}));
  const auto lines = host().linesWith("FP[Item]");
  ASSERT_EQ(5U, lines.size());
  EXPECT_EQ("WARN FP[Item] Unknown type for dictionary {\n    itemType = 6;\n}", lines[0]);
  EXPECT_EQ("WARN FP[Item] Nil type for dictionary {\n    itemType = 8;\n}", lines[4]);
}

TEST_F(ItemFactoriesTest, FileWithoutIdentityIsRefusedNamingTheFirstMissingField) {
  EXPECT_FALSE(make({{"itemType", 8}}));
  EXPECT_FALSE(make({{"itemType", 8}, {"itemIdentifier", "/S/a"}}));
  EXPECT_FALSE(
      make({{"itemType", 8}, {"itemIdentifier", "/S/a"}, {"parentItemIdentifier", "/S"}, {"name", 5}}));
  EXPECT_THAT(
      host().linesWith("FP[FILEITEM]"),
      ElementsAre(StartsWith("*** ERROR* ** FP[FILEITEM] Invalid itemIdentifier (dictionary={\n"),
                  StartsWith("*** ERROR* ** FP[FILEITEM] Invalid parentItemIdentifier (dictionary={\n"),
                  StartsWith("*** ERROR* ** FP[FILEITEM] Invalid filename (dictionary={\n")));
}

TEST_F(ItemFactoriesTest, ValuesOfWrongTypesAreTakenAsAbsent) {
  const auto item = make(fileDictionary("/S/a", {{"dateModified", "yesterday"},
                                                 {"size", "12"},
                                                 {"mimeType", 1},
                                                 {"xattr", "x"},
                                                 {"shareWritable", NSData::copyOf("1")}}));
  ASSERT_TRUE(item);
  EXPECT_FALSE(item->creationDate());
  EXPECT_FALSE(item->documentSize());
  EXPECT_FALSE(item->extendedAttributes());
  EXPECT_FALSE(item->flags().isShareWritable);
}

}  // namespace
}  // namespace zelto::test
