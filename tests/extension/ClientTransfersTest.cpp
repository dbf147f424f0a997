#include <filesystem>

#include "model/FileProviderUtils.h"
#include "tests/extension/Fixture.h"

namespace zelto::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

using Download = Outcome<std::optional<NSURL>, FileProviderItemPtr, std::optional<NSError>>;
using Range = Outcome<std::optional<NSURL>, FileProviderItemPtr, NSRange, std::optional<NSError>>;

const NSError kCancelled("any domain", 3072);

class ClientTransfersTest : public ExtensionFixture {};

TEST_F(ClientTransfersTest, PlainForwardsReachTheirMethodsWithTheirArguments) {
  auto& c = client();
  c.showCustomFieldsForIdentifier("/S/1");
  c.openWithOfficeOnlineForPath("/S/2");
  c.openWithOffice365ForPath("/S/3");
  c.makeAvailableOfflineForPath("/S/4");
  c.removeFromOfflineFilesForPath("/S/5");
  c.refreshMyFiles();
  c.refreshDirectoryForPath("/S/6", true);
  c.addBookmarkForPath("/S/7");
  c.removeBookmarkForPath("/S/8");
  c.showCheckoutStatusForPath("/S/9");
  c.checkInFileAtPath("/S/10");
  c.checkOutFileAtPath("/S/11");
  host().rangeData = NSData::copyOf("png");
  Outcome<std::optional<NSData>, std::optional<NSError>> thumbnail;
  c.thumbnailForPath("/S/12", thumbnail.completion());
  EXPECT_EQ(NSData::copyOf("png"), thumbnail.get<0>());
  host().errors.emplace("/S/13", kFailure);
  Outcome<std::optional<NSError>> deletion;
  EXPECT_EQ(host().progress, c.deleteItemWithPath("/S/13", deletion.completion()));
  EXPECT_EQ(kFailure, deletion.get());
  EXPECT_THAT(host().calls(),
              ElementsAre("customFields /S/1", "officeOnline /S/2", "office365 /S/3", "makeOffline /S/4",
                          "removeOffline /S/5", "refreshMyFiles", "refresh /S/6 1", "addBookmark /S/7",
                          "removeBookmark /S/8", "checkoutStatus /S/9", "checkIn /S/10", "checkOut /S/11",
                          "thumbnail /S/12", "delete /S/13"));
  EXPECT_THAT(host().log(), IsEmpty());
}

TEST_F(ClientTransfersTest, EverythingIsDroppedWhileNoHostIsConnected) {
  client().setServer(nullptr);
  Outcome<std::optional<NSError>> deletion;
  ItemOutcome move, create;
  Download download;
  Range range;
  Items bookmarks, offline, bookmark;
  for (const auto& progress : {client().deleteItemWithPath("/S/a", deletion.completion()),
                               client().moveItemWithPath("/S/a", "/S/b", move.completion()),
                               client().createDirectoryWithPath("/S/d", false, create.completion()),
                               client().downloadItemWithPath("/S/a", download.completion()),
                               client().downloadItemWithPath("/S/a", {0, 1}, 1, range.completion())}) {
    ASSERT_TRUE(progress);
    EXPECT_EQ(0, progress->totalUnitCount());
  }
  client().providerItemsForBookmarksWithCompletion(bookmarks.completion());
  client().providerItemsForRootOfflineFilesWithCompletion(offline.completion());
  client().providerItemsForBookmarkIdentifier("/Bookmarks/b", bookmark.completion());
  client().refreshMyFiles();
  const int count = deletion.count() + move.count() + create.count() + download.count() + range.count() +
                    bookmarks.count() + offline.count() + bookmark.count();
  EXPECT_EQ(0, count);
  EXPECT_TRUE(deletion.destroyed() && move.destroyed() && create.destroyed() && download.destroyed() &&
              range.destroyed() && bookmarks.destroyed() && offline.destroyed() && bookmark.destroyed());
}

TEST_F(ClientTransfersTest, MoveReportsBothOutcomes) {
  host().files["/S/a"] = fileDictionary("/S/b");
  ItemOutcome moved, failed;
  EXPECT_EQ(host().progress, client().moveItemWithPath("/S/a", "/S/b", moved.completion()));
  EXPECT_EQ("/S/b", moved.get<0>()->itemIdentifier());
  EXPECT_FALSE(moved.get<1>());
  host().errors.emplace("/S/a", kFailure);
  client().moveItemWithPath("/S/a", "/S/b", failed.completion());
  EXPECT_FALSE(failed.get<0>());
  EXPECT_EQ(kFailure, failed.get<1>());
  EXPECT_THAT(host().linesWith("FP[MOVE]"),
              ElementsAre("INFO FP[MOVE] Moved: /S/a -> /S/b",
                          "*** ERROR* ** FP[MOVE] Failed /S/a. Reason: " + description(kFailure)));
}

TEST_F(ClientTransfersTest, CreateDirectoryReportsBothOutcomes) {
  host().files["/S/d"] = folderDictionary("/S/d");
  ItemOutcome created, failed;
  client().createDirectoryWithPath("/S/d", true, created.completion());
  EXPECT_TRUE(created.get<0>()->flags().isDirectory);
  host().errors.emplace("/S/d", kFailure);
  client().createDirectoryWithPath("/S/d", false, failed.completion());
  EXPECT_EQ(kFailure, failed.get<1>());
  EXPECT_THAT(host().calls(),
              ElementsAre("createDirectory /S/d mayExist=1", "createDirectory /S/d mayExist=0"));
  EXPECT_THAT(host().linesWith("FP[CreateDir]"),
              ElementsAre("INFO FP[CreateDir] Created /S/d",
                          "*** ERROR* ** FP[CreateDir] Failed /S/d. Reason: " + description(kFailure)));
}

TEST_F(ClientTransfersTest, UploadHandsTheStagedFileOver) {
  const auto source = dataFolder() + "/content";
  writeFile(source, "text");
  std::string staged;
  host().onUpload = [&](const NSURL& url) { staged = url.path(); };
  host().files["/S/a"] = fileDictionary("/S/a");
  ItemOutcome uploaded;
  const auto progress = client().uploadFileWithPath("/S/a", NSURL::fileURL(source), true,
                                                    NSDate::sinceReferenceDate(0), uploaded.completion());
  EXPECT_EQ(host().progress, progress);
  EXPECT_FALSE(std::filesystem::exists(source));
  EXPECT_EQ("text", contentsOf(staged));
  EXPECT_EQ(FileProviderUtils::urlForGroupDirectory()->path(), std::filesystem::path(staged).parent_path());
  EXPECT_EQ("/S/a", uploaded.get<0>()->itemIdentifier());
  EXPECT_THAT(host().calls(), ElementsAre("upload /S/a creating=1 date=2001-01-01 00:00:00 +0000"));
  EXPECT_THAT(host().log(), IsEmpty());
}

TEST_F(ClientTransfersTest, UploadThatCannotBeStagedNeverReachesTheHost) {
  ItemOutcome outcome;
  const auto missing = dataFolder() + "/missing";
  const auto progress =
      client().uploadFileWithPath("/S/a", NSURL::fileURL(missing), false, std::nullopt, outcome.completion());
  EXPECT_EQ(0, progress->totalUnitCount());
  ASSERT_EQ(1, outcome.count());
  EXPECT_FALSE(outcome.get<0>());
  ASSERT_TRUE(outcome.get<1>());
  EXPECT_THAT(host().calls(), IsEmpty());
  const auto reason = description(*outcome.get<1>());
  EXPECT_THAT(
      host().linesWith("FP["),
      ElementsAre("*** ERROR* ** FP[UTILS] Could not stage (move) file " + missing + ". Reason: " + reason,
                  "*** ERROR* ** FP[UPLOAD] Could not stage upload /S/a. Reason: " + reason));
}

TEST_F(ClientTransfersTest, UploadIsStagedEvenWithoutAHostAndItsFailureIsLogged) {
  const auto source = dataFolder() + "/content";
  writeFile(source, "text");
  host().errors.emplace("/S/a", kFailure);
  ItemOutcome failed, dropped;
  client().uploadFileWithPath("/S/a", NSURL::fileURL(source), false, std::nullopt, failed.completion());
  EXPECT_EQ(kFailure, failed.get<1>());
  EXPECT_THAT(host().linesWith("FP[UPLOAD]"),
              ElementsAre("*** ERROR* ** FP[UPLOAD] Failed to queue /S/a. Reason: " + description(kFailure)));
  writeFile(source, "text");
  client().setServer(nullptr);
  client().uploadFileWithPath("/S/a", NSURL::fileURL(source), false, std::nullopt, dropped.completion());
  EXPECT_TRUE(dropped.destroyed());
  EXPECT_EQ(0, dropped.count());
  EXPECT_FALSE(std::filesystem::exists(source));
}

TEST_F(ClientTransfersTest, DownloadHandsUrlAndItemOn) {
  host().downloadUrl = NSURL::fileURL("/tmp/local");
  host().files["/S/a"] = fileDictionary("/S/a");
  Download download;
  EXPECT_EQ(host().progress, client().downloadItemWithPath("/S/a", download.completion()));
  EXPECT_EQ(host().downloadUrl, download.get<0>());
  EXPECT_EQ("/S/a", download.get<1>()->itemIdentifier());
  EXPECT_FALSE(download.get<2>());
  EXPECT_THAT(host().linesWith("FP["), ElementsAre("INFO FP[DOWN] Downloaded: /S/a"));
}

TEST_F(ClientTransfersTest, DownloadErrorsAreJudgedByCodeAlone) {
  host().downloadUrl = NSURL::fileURL("/tmp/local");
  host().errors.emplace("/S/a", kFailure);
  host().errors.emplace("/S/b", kCancelled);
  Download failed, cancelled;
  client().downloadItemWithPath("/S/a", failed.completion());
  client().downloadItemWithPath("/S/b", cancelled.completion());
  EXPECT_FALSE(failed.get<0>() || failed.get<1>());
  EXPECT_EQ(kFailure, failed.get<2>());
  EXPECT_EQ(kCancelled, cancelled.get<2>());
  EXPECT_THAT(host().linesWith("FP[DOWN]"),
              ElementsAre("*** ERROR* ** FP[DOWN] Download failed /S/a. Reason: " + description(kFailure),
                          "WARN FP[DOWN] Download cancelled: /S/b"));
}

TEST_F(ClientTransfersTest, DownloadedFolderWithAKnownExtensionBecomesAPackage) {
  const auto type = UTType::typeWithFilenameExtension("pdf");
  ASSERT_TRUE(type);
  host().files["/S/d.pdf"] = folderDictionary("/S/d.pdf");
  host().files["/S/d"] = folderDictionary("/S/d");
  Download package, plain;
  client().downloadItemWithPath("/S/d.pdf", package.completion());
  client().downloadItemWithPath("/S/d", plain.completion());
  EXPECT_EQ(type, package.get<1>()->contentType());
  EXPECT_EQ(UTType::folder(), plain.get<1>()->contentType());
  EXPECT_THAT(host().linesWith("Updating"),
              ElementsAre("INFO FP[DOWN] Updating type for /S/d.pdf to " + type->identifier()));
}

TEST_F(ClientTransfersTest, DownloadWhoseDictionaryGivesNoItemStillHandsTheFileOver) {
  host().downloadUrl = NSURL::fileURL("/tmp/local");
  Download download;
  client().downloadItemWithPath("/S/a", download.completion());
  EXPECT_EQ(host().downloadUrl, download.get<0>());
  EXPECT_FALSE(download.get<1>());
  EXPECT_FALSE(download.get<2>());
}

TEST_F(ClientTransfersTest, RangeIsWrittenAtItsOwnOffset) {
  host().rangeData = NSData::copyOf(std::string(100, 'x'));
  host().deliveredRange = {4096, 100};
  host().files["/S/a"] = fileDictionary("/S/a");
  Range range;
  EXPECT_EQ(host().progress, client().downloadItemWithPath("/S/a", {5000, 10}, 4096, range.completion()));
  EXPECT_THAT(host().calls(), ElementsAre("range /S/a 5000+10 align=4096"));
  const auto content = contentsOf(range.get<0>()->path());
  EXPECT_EQ(std::string(4096, '\0') + std::string(100, 'x'), content);
  EXPECT_EQ("/S/a", range.get<1>()->itemIdentifier());
  EXPECT_EQ((NSRange{4096, 100}), range.get<2>());
  EXPECT_FALSE(range.get<3>());
}

TEST_F(ClientTransfersTest, RangeFailuresCarryTheHostsRange) {
  host().deliveredRange = {1, 2};
  host().errors.emplace("/S/a", kCancelled);
  Range failed;
  client().downloadItemWithPath("/S/a", {0, 0}, 1, failed.completion());
  EXPECT_FALSE(failed.get<0>() || failed.get<1>());
  EXPECT_EQ((NSRange{1, 2}), failed.get<2>());
  EXPECT_EQ(kCancelled, failed.get<3>());
  // No offset of a file: it cannot be sought to.
  host().deliveredRange = {~std::uint64_t{0}, 1};
  host().rangeData = NSData::copyOf("x");
  Range unwritten;
  client().downloadItemWithPath("/S/b", {0, 1}, 1, unwritten.completion());
  EXPECT_FALSE(unwritten.get<0>() || unwritten.get<1>());
  EXPECT_EQ(host().deliveredRange, unwritten.get<2>());
  ASSERT_TRUE(unwritten.get<3>());
  EXPECT_EQ(NSCocoaErrorDomain, unwritten.get<3>()->domain());
  EXPECT_EQ("write failed", unwritten.get<3>()->localizedDescription());
  EXPECT_THAT(
      host().linesWith("FP[RANGE]"),
      ElementsAre("*** ERROR* ** FP[RANGE] Download failed /S/a. Reason: " + description(kCancelled),
                  "*** ERROR* ** FP[RANGE] Failed to save data /S/b. Reason: seek error - Invalid argument"));
}

}  // namespace
}  // namespace zelto::test
