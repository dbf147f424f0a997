#include "model/FileProviderUtils.h"
#include "tests/extension/Fixture.h"

namespace zelto::test {
namespace {

class ItemTraitsTest : public ExtensionFixture {
 protected:
  static int capabilities(const NSDictionary& dictionary) {
    return static_cast<int>(FileProviderItem::providerItemForDictionary(dictionary)->capabilities());
  }
  static NSDictionary userInfo(const NSDictionary& dictionary) {
    return FileProviderItem::providerItemForDictionary(dictionary)->userInfo();
  }
  static bool flag(const NSDictionary& info, const char* key) {
    const auto* value = info.find(key);
    EXPECT_TRUE(value != nullptr && value->asBoolean() != nullptr) << key;
    return value != nullptr && value->asBoolean() != nullptr && *value->asBoolean();
  }
};

TEST_F(ItemTraitsTest, CapabilitiesFollowTypeAndShare) {
  EXPECT_EQ(239, capabilities(fileDictionary("/S/a", {{"shareWritable", true}})));
  EXPECT_EQ(227, capabilities(fileDictionary("/S/a", {{"shareWritable", true}, {"bguploading", true}})));
  EXPECT_EQ(65, capabilities(fileDictionary("/S/a", {{"shareWritable", true}, {"offline", true}})));
  EXPECT_EQ(65, capabilities(fileDictionary("/S/a")));
  EXPECT_EQ(239, capabilities(folderDictionary("/S/d", {{"shareWritable", true}, {"bguploading", true}})));
  EXPECT_EQ(65, capabilities(fileDictionary("/S/l", {{"itemType", 10}, {"shareWritable", true}})));
  EXPECT_EQ(67, capabilities({{"itemType", 5}, {"shareWritable", true}}));
  EXPECT_EQ(65, capabilities({{"itemType", 5}}));
  for (int type : {0, 1, 2, 3, 4, 11}) EXPECT_EQ(65, capabilities({{"itemType", type}})) << type;
}

TEST_F(ItemTraitsTest, FileSystemFlagsAddUp) {
  const auto flags = [](const NSDictionary& dictionary) {
    return static_cast<int>(FileProviderItem::providerItemForDictionary(dictionary)->fileSystemFlags());
  };
  EXPECT_EQ(2, flags(fileDictionary("/S/a")));
  EXPECT_EQ(15, flags(folderDictionary("/S/d", {{"shareWritable", true}, {"hidden", true}})));
  EXPECT_EQ(3, flags({{"itemType", 0}}));
}

TEST_F(ItemTraitsTest, UserInfoOfAnOnlineFileHasItsFourteenEntries) {
  const auto info = userInfo(fileDictionary("/S/a", {{"bookmarked", true}, {"openWithOffice365", true}}));
  const NSDictionary expected{{"canAddOffline", true},
                              {"canRemoveOffline", false},
                              {"canAddBookmark", true},
                              {"canRemoveBookmark", 1},
                              {"isBookmark", true},
                              {"refreshMyFiles", false},
                              {"refreshDirectory", false},
                              {"canShowCheckoutStatus", false},
                              {"canCheckIn", false},
                              {"canCheckOut", false},
                              {"checkoutLabel", ""},
                              {"showCustomFields", true},
                              {"openWithOfficeOnline", false},
                              {"openWithOffice365", true}};
  EXPECT_EQ(description(expected), description(info));
  EXPECT_EQ(expected, info);
  EXPECT_TRUE(info.find("canRemoveBookmark")->asInteger());
}

TEST_F(ItemTraitsTest, UserInfoOffersRefreshAndOfflineByType) {
  EXPECT_TRUE(flag(userInfo({{"itemType", 1}}), "refreshMyFiles"));
  for (const auto& item :
       {NSDictionary{{"itemType", 2}}, NSDictionary{{"itemType", 5}}, folderDictionary("/S/d")}) {
    EXPECT_TRUE(flag(userInfo(item), "refreshDirectory"));
    EXPECT_FALSE(flag(userInfo(item), "refreshMyFiles"));
  }
  EXPECT_TRUE(flag(userInfo(folderDictionary("/S/d")), "canAddOffline"));
  EXPECT_FALSE(flag(userInfo({{"itemType", 5}}), "canAddOffline"));
  // A bookmark counts as bookmarked, but not one that is offline already.
  EXPECT_TRUE(flag(userInfo({{"itemType", 4}}), "canAddOffline"));
  const auto offline = userInfo({{"itemType", 4}, {"offlineBookmark", true}});
  EXPECT_FALSE(flag(offline, "canAddOffline"));
  EXPECT_TRUE(flag(offline, "canRemoveOffline"));
  EXPECT_EQ(0, *offline.find("canRemoveBookmark")->asInteger());
}

TEST_F(ItemTraitsTest, UserInfoInTheOfflineAreaOnlyRemovesItsTopLevel) {
  const auto area = FileProviderItem::identifierForOfflineFiles();
  const auto top = userInfo(folderDictionary(area + "/d", {{"offline", true}, {"offlineBookmark", true}}));
  EXPECT_TRUE(flag(top, "canRemoveOffline"));
  EXPECT_FALSE(flag(top, "canAddOffline"));
  EXPECT_TRUE(flag(top, "refreshDirectory"));
  const auto below = userInfo(fileDictionary(area + "/d/a", {{"offline", true}}));
  EXPECT_FALSE(flag(below, "canRemoveOffline") || flag(below, "canAddOffline") ||
               flag(below, "refreshDirectory") || flag(below, "showCustomFields"));
}

TEST_F(ItemTraitsTest, MissingModificationDateIsFixedWhenFirstRead) {
  FileProviderItem item;
  EXPECT_FALSE(item.lastUsedDate());
  const auto first = item.contentModificationDate();
  ASSERT_TRUE(first);
  EXPECT_EQ(first, item.contentModificationDate());
}

TEST_F(ItemTraitsTest, VersionIsTheDateOfTheFirstReadingUntilItIsSetAgain) {
  const auto date = NSDate::sinceReferenceDate(700000000.125);
  FileProviderItem item;
  item.updateModifiedDate(date);
  EXPECT_EQ(date, item.lastUsedDate());
  const auto version = item.itemVersion();
  EXPECT_EQ(version->contentVersion, version->metadataVersion);
  EXPECT_EQ(date, FileProviderUtils::dateFromData(version->contentVersion));
  item.updateModifiedDate(NSDate::sinceReferenceDate(1));
  EXPECT_EQ(version, item.itemVersion());
  item.setItemVersion(nullptr);
  EXPECT_EQ(NSDate::sinceReferenceDate(1),
            FileProviderUtils::dateFromData(item.itemVersion()->contentVersion));
}

TEST_F(ItemTraitsTest, DescriptionNamesTheFields) {
  FileProviderItem item;
  item.setItemIdentifier("/S/a");
  item.setFilename("a");
  item.setItemType(FileProviderItemTypeFile);
  item.setContentModificationDate(NSDate::sinceReferenceDate(0));
  EXPECT_EQ(
      "FileProviderItem {\n  itemIdentifier: /S/a\n  parentItemIdentifier: (null)\n  filename: a\n"
      "  itemType: 8\n  contentModificationDate: 2001-01-01 00:00:00 +0000\n  documentSize: (null)\n}",
      item.description());
}

TEST_F(ItemTraitsTest, MasksHaveTheirTexts) {
  const auto capabilityText = [](unsigned bits) {
    return FileProviderUtils::stringForCapabilities(static_cast<NSFileProviderItemCapabilities>(bits));
  };
  const auto flagText = [](unsigned bits) {
    return FileProviderUtils::stringForFileSystemFlags(static_cast<NSFileProviderFileSystemFlags>(bits));
  };
  EXPECT_EQ("", capabilityText(0));
  EXPECT_EQ("rw,Del,Evict,Rename,Move,+Items,Enumerate,Exclude", capabilityText(239));
  EXPECT_EQ("r,Evict,Enumerate", capabilityText(65));
  EXPECT_EQ("Trash", capabilityText(16));
  EXPECT_EQ("", flagText(0));
  EXPECT_EQ("rwx[h]", flagText(15));
  EXPECT_EQ("[exth]", flagText(16));
  EXPECT_EQ("r,Evict,Enumerate", FileProviderItem::providerItemForRoot()->stringCapabilities());
}

TEST_F(ItemTraitsTest, BytesThatAreNoDateGiveNoneAndALogLine) {
  EXPECT_FALSE(FileProviderUtils::dateFromData(NSData::copyOf("no archive at all")));
  EXPECT_FALSE(FileProviderUtils::dateFromData(NSData()));
  EXPECT_EQ(2U, host().linesWith("FPUtils[Unarchive] Failed to decode date. Reason: ").size());
}

}  // namespace
}  // namespace zelto::test
