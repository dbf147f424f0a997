#include <gtest/gtest.h>

#include "framework/fetching/FetchJob.h"
#include "framework/fetching/Materialiser.h"
#include "framework/fetching/ReadAhead.h"
#include "tests/framework/FakeExtension.h"

namespace zelto::test {
namespace {

constexpr std::uint64_t kMiB = 1 << 20;

struct MaterialiserTest : ::testing::Test, ReplicaFixture {
  Materialiser materialiser{extension, *replica, link, recordDelta()};

  std::shared_ptr<ContentFile> contentOf(const NSFileProviderItemPtr& item) {
    replica->applyListing(kRootInode, {item});
    return *replica->content(*replica->inodeForIdentifier(*item->itemIdentifier()));
  }
  std::shared_ptr<RecordingWaiter> ensure(const std::shared_ptr<ContentFile>& content, NSRange range,
                                          std::uint64_t ahead = 0) {
    auto waiter = std::make_shared<RecordingWaiter>();
    materialiser.ensure(content, range, ahead, waiter);
    return waiter;
  }
  void answerRange(std::size_t index, const NSFileProviderItemPtr& item, char fill) {
    const NSRange range = extension.ranges.at(index).first;
    extension.ranges[index].second(delivered(std::string(range.length, fill), range.location), item, range,
                                   NSFileProviderMaterializationFlags::none, std::nullopt);
  }
  bool nothingDeliveredIsLeft() {
    for (int i = 1; i <= deliveries; ++i) {
      if (std::filesystem::exists(directory / ("delivered" + std::to_string(i)))) return false;
    }
    return true;
  }
};

TEST_F(MaterialiserTest, ASmallFileIsFetchedWholeOnceForAll) {
  const auto item = FakeItem::file("/file", 5);
  const auto content = contentOf(item);
  const auto first = ensure(content, {0, 2});
  const auto second = ensure(content, {3, 2});
  ASSERT_EQ(extension.wholes.size(), 1U);
  extension.wholes[0](delivered("12345"), item, std::nullopt);
  EXPECT_EQ(first->answers, std::vector<int>{0});
  EXPECT_EQ(second->answers, std::vector<int>{0});
  EXPECT_TRUE(content->complete());
  EXPECT_EQ(ensure(content, {0, 5})->answers, std::vector<int>{0});
  EXPECT_EQ(extension.wholes.size(), 1U);
  EXPECT_TRUE(nothingDeliveredIsLeft());
}

TEST_F(MaterialiserTest, ALargeFileIsFetchedByTheRangesNeeded) {
  const auto item = FakeItem::file("/file", 100 * kMiB);
  const auto content = contentOf(item);
  const auto middle = ensure(content, {50 * kMiB + 5, 10});
  const auto overlapping = ensure(content, {50 * kMiB, 100'000});
  ASSERT_EQ(extension.ranges.size(), 2U);
  EXPECT_EQ(extension.ranges[0].first, (NSRange{50 * kMiB, 65536}));
  EXPECT_EQ(extension.ranges[1].first, (NSRange{50 * kMiB + 65536, 65536}));
  answerRange(0, item, 'a');
  EXPECT_EQ(middle->answers, std::vector<int>{0});
  EXPECT_TRUE(overlapping->answers.empty());
  answerRange(1, item, 'b');
  EXPECT_EQ(overlapping->answers, std::vector<int>{0});
  EXPECT_EQ(content->materialisedBytes(), 131072U);
  const auto long_one = ensure(content, {0, 40 * kMiB});
  EXPECT_EQ(extension.ranges.size(), 5U);  // 16, 16 and 8 MiB
}

TEST_F(MaterialiserTest, AnotherVersionIsNeverMixedIn) {
  const auto content = contentOf(FakeItem::file("/file", 100 * kMiB, 1));
  const auto first = ensure(content, {0, 10});
  answerRange(0, FakeItem::file("/file", 100 * kMiB, 1), 'a');
  ASSERT_EQ(first->answers, std::vector<int>{0});
  const auto second = ensure(content, {70 * kMiB, 10});
  answerRange(1, FakeItem::file("/file", 90 * kMiB, 2), 'b');
  EXPECT_EQ(second->answers, std::vector<int>{ESTALE});
  EXPECT_TRUE(content->detached());
  EXPECT_TRUE(content->covers({0, 10}));
  EXPECT_FALSE(content->covers({70 * kMiB, 10}));
  ASSERT_EQ(deltas.size(), 1U);
  EXPECT_EQ(deltas[0].contentChanged.size(), 1U);
  EXPECT_EQ((*replica->content(content->inode()))->size(), 90 * kMiB);
  EXPECT_EQ(ensure(content, {70 * kMiB, 10})->answers, std::vector<int>{ESTALE});
  EXPECT_TRUE(nothingDeliveredIsLeft());
}

TEST_F(MaterialiserTest, ErrorsAndShortDeliveriesEndTheWait) {
  const auto item = FakeItem::file("/file", 10 * kMiB);
  const auto content = contentOf(item);
  const auto failed = ensure(content, {0, 10});
  extension.ranges[0].second(std::nullopt, nullptr, {}, NSFileProviderMaterializationFlags::none,
                             NSError(NSCocoaErrorDomain, 257));
  EXPECT_EQ(failed->answers, std::vector<int>{EACCES});
  const auto cut = ensure(content, {0, 65536});
  extension.ranges[1].second(delivered("only this"), item, {0, 9}, NSFileProviderMaterializationFlags::none,
                             std::nullopt);
  EXPECT_EQ(cut->answers, std::vector<int>{EIO});
  EXPECT_TRUE(content->covers({0, 9}));
  EXPECT_EQ(materialiser.inFlight(), 0U);
}

TEST_F(MaterialiserTest, WhatALostHostOwesIsAskedOfTheNext) {
  const auto item = FakeItem::file("/file", 10 * kMiB);
  const auto content = contentOf(item);
  const auto waiter = ensure(content, {0, 10});
  const auto gone = ensure(content, {5 * kMiB, 10});
  gone->given_up = true;
  materialiser.hostLost();
  answerRange(1, item, 'l');  // a late answer is of use, and fails nobody
  EXPECT_TRUE(waiter->answers.empty());
  materialiser.hostReady();
  ASSERT_EQ(extension.ranges.size(), 3U);
  answerRange(2, item, 'n');
  EXPECT_EQ(waiter->answers, std::vector<int>{0});
}

TEST_F(MaterialiserTest, AFetchJobBringsTheWholeFileAndTellsHowFarItIs) {
  const auto item = FakeItem::file("/file", 600'000);
  const auto content = contentOf(item);
  std::vector<std::string> heard;
  FetchJob::start(materialiser, content,
                  [&](std::uint64_t completed, std::uint64_t total, bool finished, int error) {
                    heard.push_back(std::to_string(completed) + "/" + std::to_string(total) +
                                    (finished ? " finished " : " ") + std::to_string(error));
                  });
  extension.wholes.at(0)(delivered(std::string(600'000, 'x')), item, std::nullopt);
  EXPECT_EQ(heard, std::vector<std::string>{"600000/600000 finished 0"});
}

TEST(ReadAheadTest, GrowsWithWhatIsReadInSequenceAndStartsAnewElsewhere) {
  ReadAhead ahead;
  EXPECT_EQ(ahead.next({50 * kMiB, 65536}), 65536U);
  EXPECT_EQ(ahead.next({50 * kMiB + 65536, 131072}), 196608U);
  EXPECT_EQ(ahead.next({50 * kMiB + 32768, 32768}), 229376U);  // slightly out of order
  EXPECT_EQ(ahead.next({10 * kMiB, 4096}), 4096U);
  std::uint64_t last = 0;
  for (std::uint64_t at = 10 * kMiB + 4096; at < 80 * kMiB; at += 131072) last = ahead.next({at, 131072});
  EXPECT_EQ(last, ReadAhead::kLongest);
}

}  // namespace
}  // namespace zelto::test
