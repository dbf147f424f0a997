#include "extension/FileProviderExtension.h"
#include "tests/extension/WriteRequests.h"
#include "transfer/FileProviderHelper.h"

namespace zelto::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

constexpr auto kNothingSettled = fieldsOf(0x80000000);

class CreationTest : public ExtensionFixture {
 protected:
  std::shared_ptr<NSProgress> create(
      const std::shared_ptr<RequestItem>& item, std::uint64_t fields, const std::optional<NSURL>& contents,
      ItemAnswers& answers, NSFileProviderCreateItemOptions options = NSFileProviderCreateItemOptions::none) {
    return extension_.createItemBasedOnTemplate(item, fieldsOf(fields), contents, options, {},
                                                answers.completion());
  }
  NSURL file() { return localFile(dataFolder(), "a", "text"); }

  FileProviderExtension extension_{NSFileProviderDomain{"d", "D"}};
};

TEST_F(CreationTest, FileIsUploadedAndTakesTheTemplatesType) {
  host().files["/S/a.txt"] = fileDictionary("/S/a.txt", {{"mimeType", "image/png"}});
  const auto item = requestItem("/S/a.txt");
  ItemAnswers answers;
  EXPECT_EQ(host().progress, create(item, 0x5cf, file(), answers));
  EXPECT_EQ(item->type, answers.only().item->contentType());
  EXPECT_FALSE(answers.only().fetchContent || answers.only().error);
  EXPECT_THAT(host().calls(), ElementsAre(StartsWith("upload /S/a.txt creating=1 date=2")));
  EXPECT_THAT(host().linesWith("FP[Create]"), ElementsAre("INFO FP[Create] Creating file /S/a.txt"));
}

TEST_F(CreationTest, PendingIsOneBitUnlessThatBitRemains) {
  host().errors.emplace("/S/failed", kFailure);
  ItemAnswers done, bit, failed, failedBit;
  create(requestItem("/S/a"), 0x5c7, file(), done);
  create(requestItem("/S/a"), 0x800005c7, file(), bit);
  create(requestItem("/S/failed"), 0x5cf, file(), failed);
  create(requestItem("/S/failed"), 0x1800005cf, file(), failedBit);
  EXPECT_EQ(kNothingSettled, done.only().pending);
  EXPECT_EQ(Fields::none, bit.only().pending);
  EXPECT_EQ(kNothingSettled, failed.only().pending);
  EXPECT_EQ(kFailure, failed.only().error);
  EXPECT_EQ(Fields::none, failedBit.only().pending);
}

TEST_F(CreationTest, FileWithoutEveryFieldIsAcknowledgedAndNotCreated) {
  for (std::uint64_t bit = 1; bit <= 0x5c7; bit <<= 1) {
    if ((bit & 0x5c7) == 0) continue;
    ItemAnswers answers;
    const auto progress = create(requestItem("/S/a"), 0x7ff & ~bit, file(), answers);
    ASSERT_EQ(1U, answers.count()) << bit;
    EXPECT_FALSE(answers.only().item || answers.only().fetchContent || answers.only().error);
    EXPECT_EQ(Fields::none, answers.only().pending);
    EXPECT_EQ(0, progress->totalUnitCount());
  }
  EXPECT_THAT(host().calls(), IsEmpty());
  EXPECT_EQ("WARN FP[Create] Create item with 'no content' /S/a", host().linesWith("FP[Create]")[0]);
}

TEST_F(CreationTest, LinkIsUploadedEmptyWhateverItsContents) {
  host().onUpload = [](const NSURL& url) { EXPECT_EQ("", contentsOf(url.path())); };
  const auto link = requestItem("/S/link");
  link->target = "elsewhere";
  ItemAnswers answers;
  create(link, 0x5c7, file(), answers);
  EXPECT_FALSE(answers.only().error);
  EXPECT_EQ("text", contentsOf(file().path()));
}

TEST_F(CreationTest, FolderIsCreatedWhateverItsFields) {
  const auto package = UTType::typeWithFilenameExtension("app");
  ASSERT_TRUE(package && package->conformsTo(UTType::directory()));
  host().files["/S//d"] = folderDictionary("/S/d");
  const auto item = requestItem("/S/d");
  item->parent = "/S/";  // a slash is always added
  item->type = package;
  ItemAnswers created, existing;
  EXPECT_EQ(0, create(item, 0, std::nullopt, created)->totalUnitCount());
  EXPECT_EQ(package, created.only().item->contentType());
  EXPECT_EQ(kNothingSettled, created.only().pending);
  create(item, 0x5c7, std::nullopt, existing, static_cast<NSFileProviderCreateItemOptions>(3));
  existing.only();
  EXPECT_THAT(host().calls(),
              ElementsAre("createDirectory /S//d mayExist=0", "createDirectory /S//d mayExist=1"));
  EXPECT_EQ("INFO FP[Create] Creating container /S//d", host().linesWith("FP[Create]")[0]);
}

TEST_F(CreationTest, DeletionGoesThrough) {
  host().errors.emplace("/S/b", kFailure);
  Outcome<std::optional<NSError>> done, failed;
  const auto remove = [this](const std::string& path, auto& outcome) {
    return extension_.deleteItemWithIdentifier(path, {}, NSFileProviderDeleteItemOptions::recursive, {},
                                               outcome.completion());
  };
  EXPECT_EQ(host().progress, remove("/S/a", done));
  remove("/S/b", failed);
  EXPECT_FALSE(done.get());
  EXPECT_EQ(kFailure, failed.get());
  EXPECT_THAT(host().calls(), ElementsAre("delete /S/a", "delete /S/b"));
  EXPECT_THAT(host().linesWith("FP[Delete]"),
              ElementsAre("INFO FP[Delete] Deleting /S/a", "INFO FP[Delete] Deleting /S/b"));
}

}  // namespace
}  // namespace zelto::test
