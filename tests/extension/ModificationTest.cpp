#include "extension/FileProviderExtension.h"
#include "tests/extension/WriteRequests.h"

namespace zelto::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const auto kUsed = NSDate::since1970(1709643909);
const auto kModified = NSDate::since1970(1709730309);

std::shared_ptr<RequestItem> changedItem(const std::string& path) {
  auto item = requestItem(path);
  item->used = kUsed;
  item->modified = kModified;
  item->flags = static_cast<NSFileProviderFileSystemFlags>(14);
  item->tags = NSData::copyOf("tag");
  item->attributes = {
      {"user.text", NSData::copyOf("plain")}, {"user.bytes", NSData::copyOf("\xff")}, {"user.number", 7}};
  item->codes = {.type = 0x80000000, .creator = 5};
  return item;
}

class ModificationTest : public ExtensionFixture {
 protected:
  ModificationTest() {
    host().lists["/S"] = {fileDictionary("/S/a", {{"mimeType", "image/png"}, {"modDate", 1000.0}})};
  }
  std::shared_ptr<NSProgress> modify(const NSFileProviderItemPtr& item, std::uint64_t fields,
                                     ItemAnswers& answers,
                                     const std::optional<NSURL>& contents = std::nullopt) {
    return extension_.modifyItem(item, {}, fieldsOf(fields), contents, NSFileProviderModifyItemOptions::none,
                                 {}, answers.completion());
  }

  FileProviderExtension extension_{NSFileProviderDomain{"d", "D"}};
};

struct Row {
  std::string name;
  std::uint64_t fields;
  std::uint64_t pending;
  std::string line;

  // Shown in the case's name, where the default is its bytes, addresses included.
  friend void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }
};

class MetadataChangeTest : public ModificationTest, public testing::WithParamInterface<Row> {};

TEST_P(MetadataChangeTest, IsAcknowledgedWithTheItemFound) {
  const auto item = changedItem("/S/a");
  ItemAnswers answers;
  modify(item, GetParam().fields, answers);
  const auto answer = answers.only();
  ASSERT_TRUE(answer.item);
  EXPECT_NE(item, answer.item);
  EXPECT_EQ("/S/a", answer.item->itemIdentifier());
  EXPECT_EQ(item->type, answer.item->contentType());
  EXPECT_EQ(fieldsOf(GetParam().pending), answer.pending);
  EXPECT_FALSE(answer.fetchContent || answer.error);
  const bool takesModified = ((GetParam().fields ^ GetParam().pending) & 0x80) != 0;
  EXPECT_EQ(takesModified, answer.item->contentModificationDate() == kModified);
  EXPECT_EQ(takesModified, answer.item->lastUsedDate() == kModified);
  const bool takesUsed = ((GetParam().fields ^ GetParam().pending) & 0x8) != 0;
  EXPECT_EQ(takesUsed, answer.item->lastUsedDate() == kUsed);
  EXPECT_THAT(host().calls(), ElementsAre("directory /S 1"));
  EXPECT_THAT(host().linesWith("FPMain"), ElementsAre("INFO FPMain[MODIFIED] " + GetParam().line));
}

TEST_P(MetadataChangeTest, PassesAFailedLookUpOnButForTheLastUsedDate) {
  ItemAnswers answers;
  modify(changedItem("/S/missing"), GetParam().fields, answers);
  const auto answer = answers.only();
  EXPECT_FALSE(answer.item);
  EXPECT_EQ(fieldsOf(GetParam().pending), answer.pending);
  EXPECT_EQ((GetParam().fields & 0x8) == 0, answer.error.has_value());
  EXPECT_EQ(1U, host().linesWith("FPMain").size());
}

// Each row's fields hold every bit that comes after its own.
INSTANTIATE_TEST_SUITE_P(
    InOrder, MetadataChangeTest,
    testing::Values(
        Row{"LastUsedDate", 0xff8, 0xff0, "LastUsedDate=2024-03-05 13:05:09 +0000, '/S/a'"},
        Row{"FileSystemFlags", 0xff0, 0xef0, "FileSystemFlags='rw[h]' (16), '/S/a'"},
        Row{"FavoriteRank", 0xef0, 0xed0, "FavoriteRank '/S/a'"},
        Row{"TagData", 0xed0, 0xec0, "TagData={length = 3, bytes = 0x746167}, '/S/a'"},
        Row{"CreationDate", 0xec0, 0xe80, "CreationDate=(null), '/S/a'"},
        Row{"ModificationDate", 0xe80, 0xe00, "ModificationDate=2024-03-06 13:05:09 +0000, '/S/a'"},
        Row{"ExtendedAttributes", 0xe00, 0xc00,
            "ExtendedAttributes:\n  • user.text = plain\n  • user.bytes = {length = 1, bytes = "
            "0xff}\n  • user.number = 7"},
        Row{"TypeAndCreator", 0xc00, 0x800, "TypeAndCreator=(type:-2147483648, creator:5), '/S/a'"}),
    [](const auto& row) { return row.param.name; });

TEST_F(ModificationTest, ContentsComeFirstAndAreUploaded) {
  host().files["/S/a"] = fileDictionary("/S/a", {{"mimeType", "image/png"}});
  const auto item = changedItem("/S/a");
  ItemAnswers answers;
  EXPECT_EQ(host().progress, modify(item, 0xfff, answers, localFile(dataFolder(), "new", "text")));
  EXPECT_EQ(item->type, answers.only().item->contentType());
  EXPECT_EQ(fieldsOf(0xffe), answers.only().pending);
  EXPECT_THAT(host().calls(), ElementsAre("upload /S/a creating=0 date=2024-03-06 13:05:09 +0000"));
  EXPECT_THAT(host().linesWith("FPMain"), ElementsAre("INFO FPMain[MODIFIED] Upload '/S/a'"));
}

TEST_F(ModificationTest, NameAndParentAreOneMoveEach) {
  const auto item = changedItem("/S/a");
  item->parent = "/S/d/";
  item->name = "b";
  ItemAnswers renamed, moved, trashed;
  EXPECT_EQ(host().progress, modify(item, 0xffe, renamed));
  modify(item, 0xffc, moved);
  item->parent = NSFileProviderTrashContainerItemIdentifier;
  modify(item, 0x4, trashed);
  EXPECT_EQ(fieldsOf(0xffc), renamed.only().pending);
  EXPECT_EQ(item, renamed.only().item);
  EXPECT_EQ(fieldsOf(0xff8), moved.only().pending);
  EXPECT_EQ(Fields::none, trashed.only().pending);
  EXPECT_FALSE(trashed.only().item);
  EXPECT_THAT(host().calls(), ElementsAre("move /S/a /S/d/b", "move /S/a /S/d/b", "delete /S/a"));
  EXPECT_THAT(host().linesWith("FPMain"),
              ElementsAre("INFO FPMain[MODIFIED] Rename '/S/a'", "INFO FPMain[MODIFIED] Move '/S/a'",
                          "INFO FPMain[MODIFIED] Move '/S/a'"));
}

TEST_F(ModificationTest, UnknownChangesAreSettledAtOnce) {
  const auto item = changedItem("/S/a");
  for (const std::uint64_t fields : {0x0, 0x800}) {
    ItemAnswers answers;
    EXPECT_EQ(0, modify(item, fields, answers)->totalUnitCount());
    ASSERT_EQ(1U, answers.count());
    EXPECT_EQ(item, answers.only().item);
    EXPECT_EQ(Fields::none, answers.only().pending);
    EXPECT_FALSE(answers.only().error);
  }
  EXPECT_THAT(host().calls(), IsEmpty());
  EXPECT_THAT(host().linesWith("FPMain"),
              ElementsAre("WARN FPMain[MODIFIED] Unknown changes 0x0 (0) /S/a",
                          "WARN FPMain[MODIFIED] Unknown changes 0x800 (2048) /S/a"));
}

TEST_F(ModificationTest, AnItemWithoutMetadataIsDescribedAsSuch) {
  const auto item = requestItem("/S/a");
  ItemAnswers tags, attributes;
  modify(item, 0x10, tags);
  tags.only();
  modify(item, 0x200, attributes);
  attributes.only();
  EXPECT_THAT(host().linesWith("FPMain"), ElementsAre("INFO FPMain[MODIFIED] TagData=(null), '/S/a'",
                                                      "INFO FPMain[MODIFIED] ExtendedAttributes:"));
}

}  // namespace
}  // namespace zelto::test
