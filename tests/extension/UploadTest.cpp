#include <set>

#include "tests/extension/WriteRequests.h"
#include "transfer/FileProviderHelper.h"

namespace zelto::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const NSError kCancelled("any domain", 3072);

class UploadTest : public ExtensionFixture {
 protected:
  std::shared_ptr<NSProgress> upload(const std::string& path, const std::optional<NSURL>& contents,
                                     ItemAnswers& answers, std::uint64_t fields = 0x5c7,
                                     std::uint64_t field = 0x5c7) {
    return FileProviderHelper::instance().queueUploadForFileAtPath(
        path, contents, true, NSDate::since1970(0), fieldsOf(fields), fieldsOf(field), answers.completion());
  }
  NSURL file(const std::string& name) { return localFile(dataFolder(), name, "text"); }
};

TEST_F(UploadTest, FileGoesToTheHostAndSettlesItsFields) {
  host().files["/S/a"] = fileDictionary("/S/a");
  host().onUpload = [](const NSURL& url) { EXPECT_EQ("text", contentsOf(url.path())); };
  ItemAnswers all, some;
  EXPECT_EQ(host().progress, upload("/S/a", file("a"), all));
  EXPECT_EQ("/S/a", all.only().item->itemIdentifier());
  EXPECT_EQ(Fields::none, all.only().pending);
  EXPECT_FALSE(all.only().fetchContent || all.only().error);
  upload("/S/a", file("a"), some, 0x3, 0x1);
  EXPECT_EQ(Fields::filename, some.only().pending);
  EXPECT_EQ("upload /S/a creating=1 date=1970-01-01 00:00:00 +0000", host().calls()[0]);
  EXPECT_THAT(host().linesWith("FP[QUEUE]"),
              ElementsAre("INFO FP[QUEUE] Completed /S/a", "INFO FP[QUEUE] Completed /S/a"));
}

TEST_F(UploadTest, FailureLeavesEveryFieldPending) {
  host().errors.emplace("/S/a", kFailure);
  ItemAnswers answers;
  upload("/S/a", file("a"), answers, 0x5cf);
  EXPECT_FALSE(answers.only().item || answers.only().fetchContent);
  EXPECT_EQ(fieldsOf(0x5cf), answers.only().pending);
  EXPECT_EQ(kFailure, answers.only().error);
  EXPECT_THAT(host().linesWith("FP[QUEUE]"),
              ElementsAre("*** ERROR* ** FP[QUEUE] Failed to upload /S/a. Reason: disk full"));
}

TEST_F(UploadTest, WithoutContentsAnEmptyFileOfAFreshNameIsUploaded) {
  std::set<std::string> names;
  host().onUpload = [&names](const NSURL& url) {
    EXPECT_EQ("", contentsOf(url.path()));
    names.insert(url.path());
  };
  ItemAnswers first, second;
  upload("/S/link", std::nullopt, first);
  upload("/S/link", std::nullopt, second);
  EXPECT_THAT(names, SizeIs(2));
  EXPECT_FALSE(first.only().error || second.only().error);
  EXPECT_EQ("WARN FP[QUEUE] Creating zero-length file for unsupported file type /S/link",
            host().linesWith("FP[QUEUE]")[0]);
  // The files were moved on to the host's names: nothing else is left in the group directory.
  EXPECT_EQ(
      2, std::distance(std::filesystem::directory_iterator(FileProviderUtils::urlForGroupDirectory()->path()),
                       std::filesystem::directory_iterator()));
}

TEST_F(UploadTest, WhatCannotBeUploadedIsAnsweredAtOnce) {
  loseGroupDirectory();
  ItemAnswers noPlaceholder, noContent;
  const auto empty = upload("/S/link", std::nullopt, noPlaceholder, 0x3, 0x1);
  upload("/S/a", NSURL::fileURL(dataFolder() + "/missing"), noContent, 0x3, 0x1);
  for (const auto& [answers, reason] :
       {std::pair(&noPlaceholder, "Zero length file"), std::pair(&noContent, "No content")}) {
    ASSERT_EQ(1U, answers->count());
    const auto answer = answers->only();
    EXPECT_FALSE(answer.item || answer.fetchContent);
    EXPECT_EQ(fieldsOf(0x3), answer.pending);
    EXPECT_EQ(NSFileProviderErrorNoSuchItem, answer.error->code());
    EXPECT_EQ(reason, answer.error->localizedDescription());
  }
  EXPECT_EQ(0, empty->totalUnitCount());
  EXPECT_THAT(host().calls(), IsEmpty());
  EXPECT_THAT(host().linesWith("FP[QUEUE]"),
              ElementsAre("WARN FP[QUEUE] Creating zero-length file for unsupported file type /S/link",
                          "*** ERROR* ** FP[QUEUE] Failed to create zero-length file for /S/link",
                          "*** ERROR* ** FP[QUEUE] No content found for /S/a"));
}

TEST_F(UploadTest, FolderIsLookedUpInstead) {
  host().lists["/S"] = {folderDictionary("/S/d")};
  std::filesystem::create_directory(dataFolder() + "/folder");
  ItemAnswers found, missing;
  upload("/S/d", NSURL::fileURL(dataFolder() + "/folder"), found, 0x3, 0x1);
  EXPECT_EQ("/S/d", found.only().item->itemIdentifier());
  EXPECT_EQ(Fields::filename, found.only().pending);
  EXPECT_FALSE(found.only().error);
  upload("/S/e", NSURL::fileURL(dataFolder() + "/folder"), missing, 0x3, 0x1);
  EXPECT_EQ("Failed to find container", missing.only().error->localizedDescription());
  EXPECT_EQ(fieldsOf(0x3), missing.only().pending);
  EXPECT_THAT(host().calls(), ElementsAre("directory /S 1", "directory /S 1"));
  EXPECT_THAT(host().linesWith("FP[QUEUE]"), ElementsAre("DEBUG FP[QUEUE] Skipping container /S/d",
                                                         "WARN FP[QUEUE] Failed to find container /S/e"));
}

void expectCancelled(const ItemAnswers& answers) {
  const auto answer = answers.only();
  EXPECT_FALSE(answer.item || answer.fetchContent);
  EXPECT_EQ(Fields::none, answer.pending);
  EXPECT_EQ(NSCocoaErrorDomain, answer.error->domain());
  EXPECT_EQ(3072, answer.error->code());
}

TEST_F(UploadTest, CancellationByTheFrameworkAnswersOnceWhateverTheHostSaysLater) {
  host().hold("/S/a");
  ItemAnswers answers;
  upload("/S/a", file("a"), answers)->cancel();
  expectCancelled(answers);
  // The work was done before the cancel came to the host.
  host().release("/S/a");
  expectCancelled(answers);
  EXPECT_THAT(host().linesWith("FP[QUEUE]"),
              ElementsAre("WARN FP[QUEUE] Cancelled /S/a", "INFO FP[QUEUE] Completed /S/a"));
}

TEST_F(UploadTest, CancellationByTheHostAnswersThroughTheProgress) {
  host().hold("/S/a");
  host().errors.emplace("/S/a", kCancelled);
  ItemAnswers answers;
  const auto progress = upload("/S/a", file("a"), answers);
  EXPECT_EQ(0U, answers.count());
  host().release("/S/a");
  expectCancelled(answers);
  EXPECT_TRUE(progress->isCancelled());
  EXPECT_THAT(host().linesWith("FP[QUEUE]"),
              ElementsAre("WARN FP[QUEUE] Cancelling /S/a", "WARN FP[QUEUE] Cancelled /S/a"));
}

TEST_F(UploadTest, CancellationByTheHostBeforeTheCallReturnsIsMissed) {
  host().errors.emplace("/S/a", kCancelled);
  ItemAnswers answers;
  const auto progress = upload("/S/a", file("a"), answers);
  EXPECT_EQ(0U, answers.count());
  EXPECT_FALSE(progress->isCancelled());
  progress->cancel();
  expectCancelled(answers);
}

TEST_F(UploadTest, CancellingWhatIsDoneDoesNothing) {
  ItemAnswers answers;
  upload("/S/a", file("a"), answers)->cancel();
  EXPECT_FALSE(answers.only().error);
  EXPECT_THAT(host().linesWith("FP[QUEUE]"), ElementsAre("INFO FP[QUEUE] Completed /S/a"));
}

TEST_F(UploadTest, WithoutAHostTheCompletionGoesWithTheProgress) {
  client().setServer(nullptr);
  ItemAnswers dropped, cancelled;
  auto progress = upload("/S/a", file("a"), dropped);
  progress.reset();
  EXPECT_TRUE(dropped.destroyed());
  EXPECT_EQ(0U, dropped.count());
  upload("/S/a", file("a"), cancelled)->cancel();
  expectCancelled(cancelled);
}

}  // namespace
}  // namespace zelto::test
