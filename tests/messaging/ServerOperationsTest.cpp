#include <gtest/gtest.h>

#include "tests/messaging/ConnectedTest.h"

namespace zelto::test {

using ServerOperations = ConnectedTest;

const NSError kError("ZeltoHost", -17, {{"NSLocalizedDescription", "no such file"}, {"code", 3.5}});

TEST_F(ServerOperations, OneWayCallsArriveInOrderWithTheirArguments) {
  server().enumeratorInvalidatedPath("/a");
  server().showCustomFieldsForPath("/b");
  server().openWithOfficeOnlineForPath("/c");
  server().openWithOffice365ForPath("/d");
  server().makeAvailableOfflineForPath("/e");
  server().removeFromOfflineFilesForPath("/f");
  server().addBookmarkForPath("/g");
  server().removeBookmarkForPath("/h");
  server().refreshMyFiles();
  server().refreshDirectoryForPath("/i", true);
  server().refreshDirectoryForPath("/j", false);
  server().showCheckoutStatusForPath("/k");
  server().checkInFileAtPath("/l");
  server().checkOutFileAtPath("/m \xff\xc3\xa9");
  server().logMessage("hello", "Info", "05 Mar 2024 14:03:27", true, 4711);
  for (const char* expected :
       {"invalidated /a", "fields /b", "online /c", "365 /d", "keep /e", "unkeep /f", "mark /g", "unmark /h",
        "refresh mine", "refresh /i true", "refresh /j false", "status /k", "in /l", "out /m \xff\xc3\xa9",
        "log hello|Info|05 Mar 2024 14:03:27|true|4711"})
    EXPECT_EQ(expected, fake().calls.take());
}

TEST_F(ServerOperations, ListsArriveWithTheirDictionaries) {
  Mailbox<DictionaryList> received;
  auto into = [&received] { return [&received](DictionaryList list) { received.put(std::move(list)); }; };
  server().metadataForSharesWithCompletion(into());
  server().metadataForBookmarksWithCompletion(into());
  server().metadataForDirectory("/dir", true, into());
  server().metadataForDirectory("/dir", false, into());
  server().metadataForDirectoryWithBookmarkPath("/mark", into());
  server().metadataForRootOfflineFilesWithCompletion(into());
  int number = 0;
  for (const char* expected :
       {"shares", "bookmarks", "directory /dir true", "directory /dir false", "bookmark /mark", "offline"}) {
    EXPECT_EQ(expected, fake().calls.take());
    fake().lists.take()({itemDictionary(number), NSDictionary(), itemDictionary(number + 1)});
    EXPECT_EQ((DictionaryList{itemDictionary(number), NSDictionary(), itemDictionary(number + 1)}),
              received.take());
    ++number;
  }
}

TEST_F(ServerOperations, ChangesArriveWithTheDeletedIdentifiers) {
  Mailbox<std::pair<DictionaryList, std::vector<std::string>>> received;
  server().retrieveChangesWithCompletion(
      [&received](DictionaryList changed, std::vector<std::string> deleted) {
        received.put({std::move(changed), std::move(deleted)});
      });
  EXPECT_EQ("changes", fake().calls.take());
  fake().changes.take()({itemDictionary(1)}, {"/gone", "", "/also gone"});
  auto changes = received.take();
  EXPECT_EQ(DictionaryList{itemDictionary(1)}, changes.first);
  EXPECT_EQ((std::vector<std::string>{"/gone", "", "/also gone"}), changes.second);
}

TEST_F(ServerOperations, RepliesCarryEitherAnItemOrAnError) {
  using Reply = std::pair<std::optional<NSDictionary>, std::optional<NSError>>;
  Mailbox<Reply> received;
  auto into = [&received] {
    return [&received](std::optional<NSDictionary> item, std::optional<NSError> error) {
      received.put({std::move(item), std::move(error)});
    };
  };
  server().uploadFileWithPath("/u", NSURL::fileURL("/group/a b%\xff"), true,
                              NSDate::sinceReferenceDate(-0.125), into());
  server().uploadFileWithPath("/v", std::nullopt, false, std::nullopt, into());
  server().createDirectoryWithPath("/w", true, into());
  server().moveItemWithPath("/x", "/y", into());
  for (const char* expected :
       {"upload /u /group/a b%\xff true -0.125", "upload /v - false -", "create /w true", "move /x /y"}) {
    EXPECT_EQ(expected, fake().calls.take());
    auto reply = fake().files.take();
    bool succeeds = std::string_view(expected).starts_with("upload");
    if (succeeds) reply(itemDictionary(5), std::nullopt);
    if (!succeeds) reply(std::nullopt, kError);
    EXPECT_EQ(succeeds ? Reply(itemDictionary(5), std::nullopt) : Reply(std::nullopt, kError),
              received.take());
  }
}

TEST_F(ServerOperations, DeletionsReplyWithAnErrorOrNone) {
  Mailbox<std::optional<NSError>> received;
  for (const auto& error : {std::optional<NSError>(), std::optional(kError), std::optional(NSError("", 0))}) {
    server().deleteItemWithPath(
        "/d", [&received](std::optional<NSError> reply) { received.put(std::move(reply)); });
    EXPECT_EQ("delete /d", fake().calls.take());
    fake().errors.take()(error);
    EXPECT_EQ(error, received.take());
  }
}

TEST_F(ServerOperations, DownloadsCarryAFileUrl) {
  Mailbox<std::tuple<std::optional<NSURL>, std::optional<NSDictionary>, std::optional<NSError>>> received;
  auto url = NSURL::fileURL("/tmp/Größe #1?.txt");
  server().downloadItemWithPath("/d", [&received](auto location, auto item, auto error) {
    received.put({std::move(location), std::move(item), std::move(error)});
  });
  EXPECT_EQ("download /d", fake().calls.take());
  fake().downloads.take()(url, itemDictionary(1), kError);
  EXPECT_EQ(std::tuple(url, itemDictionary(1), kError), received.take());
}

TEST_F(ServerOperations, RangesAndThumbnailsCarryBytes) {
  Mailbox<std::tuple<std::optional<NSData>, std::optional<NSDictionary>, NSRange, std::optional<NSError>>>
      received;
  constexpr std::uint64_t kFar = std::uint64_t{1} << 62;
  server().downloadItemWithPath("/r", NSRange{kFar, 100}, -4096,
                                [&received](auto data, auto item, auto range, auto error) {
                                  received.put({std::move(data), std::move(item), range, std::move(error)});
                                });
  EXPECT_EQ(fmt::format("range /r {}+100 -4096", kFar), fake().calls.take());
  fake().ranges.take()(NSData::copyOf("bytes"), itemDictionary(2), NSRange{kFar, 5}, std::nullopt);
  EXPECT_EQ(std::tuple(std::optional(NSData::copyOf("bytes")), std::optional(itemDictionary(2)),
                       NSRange{kFar, 5}, std::optional<NSError>()),
            received.take());

  Mailbox<std::pair<std::optional<NSData>, std::optional<NSError>>> thumbnails;
  server().thumbnailForPath("/t", [&thumbnails](auto data, auto error) {
    thumbnails.put({std::move(data), std::move(error)});
  });
  EXPECT_EQ("thumbnail /t", fake().calls.take());
  fake().thumbnails.take()(NSData(), std::nullopt);
  auto thumbnail = thumbnails.take();
  ASSERT_TRUE(thumbnail.first) << "empty data is not absent data";
  EXPECT_TRUE(thumbnail.first->empty());
}

TEST_F(ServerOperations, TheHostConfiguresTheExtension) {
  host->client->updateUseMyFiles(true, false);
  host->client->updateUseMyFiles(false, true);
  host->client->disconnect();
  EXPECT_EQ("update true false", acceptor.client.calls.take());
  EXPECT_EQ("update false true", acceptor.client.calls.take());
  EXPECT_EQ("disconnect", acceptor.client.calls.take());
}

TEST_F(ServerOperations, TheFirstReplyCountsAndADroppedOneIsSilent) {
  Mailbox<std::string> received;
  server().deleteItemWithPath("/dropped", [&received](auto) { received.put("dropped"); });
  server().deleteItemWithPath("/twice",
                              [&received](auto error) { received.put(error ? "second" : "first"); });
  fake().errors.take();
  auto twice = fake().errors.take();
  twice(std::nullopt);
  twice(kError);
  EXPECT_EQ("first", received.take());
  // The connection has survived it: this answer comes behind whatever else was sent.
  server().deleteItemWithPath("/last", [&received](auto) { received.put("last"); });
  fake().errors.take()(std::nullopt);
  EXPECT_EQ("last", received.take());
}

TEST_F(ServerOperations, WhatMayNotTravelIsNotSentAndTheConnectionLives) {
  bool called = false;
  server().addBookmarkForPath(std::string((1 << 20) + 1, 'x'));
  auto completion = [&called, token = std::make_shared<int>()](DictionaryList) { called = true; };
  server().metadataForDirectory(std::string(2 << 20, 'x'), false, std::move(completion));
  server().addBookmarkForPath(std::string(1 << 20, 'y'));
  EXPECT_EQ("mark " + std::string(1 << 20, 'y'), fake().calls.take());
  EXPECT_FALSE(called);
}

}  // namespace zelto::test
