#include <gtest/gtest.h>

#include "framework/listing/Lister.h"
#include "framework/listing/PathResolver.h"
#include "tests/framework/FakeExtension.h"

namespace zelto::test {
namespace {

struct ListerTest : ::testing::Test, ReplicaFixture {
  Lister lister{extension, *replica, recordDelta(), [](std::size_t) {}};

  ListerTest() { lister.hostReady(); }

  std::shared_ptr<RecordingWaiter> list(Inode folder) {
    auto waiter = std::make_shared<RecordingWaiter>();
    lister.list(folder, waiter);
    return waiter;
  }
};

TEST_F(ListerTest, RequestsForOneFolderMakeOneListing) {
  const auto first = list(kRootInode);
  const auto second = list(kRootInode);
  ASSERT_EQ(extension.listings.size(), 1U);
  EXPECT_EQ(extension.listings[0].first, NSFileProviderRootContainerItemIdentifier);
  extension.answerListing(0, {FakeItem::folder("/share"), FakeItem::file("/file", 3)});
  EXPECT_EQ(first->answers, std::vector<int>{0});
  EXPECT_EQ(second->answers, std::vector<int>{0});
  EXPECT_EQ(replica->children(kRootInode)->size(), 2U);
  EXPECT_EQ(lister.inFlight(), 0U);
}

TEST_F(ListerTest, AListingStaysTheOnlyOneAfterItsWaiterGaveUp) {
  list(kRootInode)->given_up = true;
  const auto later = list(kRootInode);
  EXPECT_EQ(extension.listings.size(), 1U);
  extension.answerListing(0, {});
  EXPECT_EQ(later->answers, std::vector<int>{0});
}

TEST_F(ListerTest, WhoGaveUpDoesNotStayUntilAStoppedHostAnswers) {
  const auto patient = list(kRootInode);
  std::weak_ptr<RecordingWaiter> first;
  for (int i = 0; i < 1000; ++i) {
    const auto waiter = list(kRootInode);
    waiter->given_up = true;
    if (i == 0) first = waiter;
  }
  EXPECT_TRUE(first.expired());
  EXPECT_LT(lister.waiters(), 50U);
  EXPECT_EQ(extension.listings.size(), 1U);
  extension.answerListing(0, {});
  EXPECT_EQ(patient->answers, std::vector<int>{0});
}

TEST_F(ListerTest, WithoutAHostAListingWaitsForOne) {
  lister.hostLost();
  const auto waiter = list(kRootInode);
  EXPECT_TRUE(extension.listings.empty());
  lister.hostReady();
  ASSERT_EQ(extension.listings.size(), 1U);
  extension.answerListing(0, {FakeItem::folder("/share")});
  EXPECT_EQ(waiter->answers, std::vector<int>{0});
}

TEST_F(ListerTest, AnAnswerOfALostHostIsNotTaken) {
  const auto waiter = list(kRootInode);
  lister.hostLost();
  extension.answerListing(0, {});
  EXPECT_TRUE(waiter->answers.empty());
  EXPECT_EQ(replica->children(kRootInode), nullptr);
  lister.hostReady();
  extension.answerListing(1, {FakeItem::folder("/share")});
  EXPECT_EQ(waiter->answers, std::vector<int>{0});
}

TEST_F(ListerTest, WhatNobodyWaitsForIsNotAskedAgain) {
  list(kRootInode)->given_up = true;
  lister.hostLost();
  lister.hostReady();
  EXPECT_EQ(extension.listings.size(), 1U);
}

TEST_F(ListerTest, ErrorsReachTheWaitersAsErrnoValues) {
  const auto waiter = list(kRootInode);
  extension.listings[0].second->finishEnumeratingWithError(NSError(NSCocoaErrorDomain, 257));
  EXPECT_EQ(waiter->answers, std::vector<int>{EACCES});
  const auto again = list(kRootInode);
  extension.listings[1].second->finishEnumeratingWithError(NSError(NSFileProviderErrorDomain, -1005));
  EXPECT_EQ(again->answers, std::vector<int>{ENOENT});
}

TEST_F(ListerTest, ResolverListsWhatItComesBy) {
  PathResolver resolver(*replica, lister);
  std::expected<Inode, int> found = std::unexpected(-1);
  std::expected<Inode, int> absent = std::unexpected(-1);
  resolver.resolve("share/inner/file", [&](std::expected<Inode, int> inode) { found = inode; });
  extension.answerListing(0, {FakeItem::folder("/share")});
  extension.answerListing(1, {FakeItem::folder("/share/inner")});
  extension.answerListing(2, {FakeItem::file("/share/inner/file", 5)});
  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(replica->identifier(*found), "/share/inner/file");
  resolver.resolve("share/other", [&](std::expected<Inode, int> inode) { absent = inode; });
  EXPECT_EQ(absent.error(), ENOENT);
  EXPECT_EQ(extension.listings.size(), 3U);
}

}  // namespace
}  // namespace zelto::test
