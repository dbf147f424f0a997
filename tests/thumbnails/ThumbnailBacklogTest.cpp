#include <set>

#include <gtest/gtest.h>

#include "framework/thumbnails/ThumbnailBacklog.h"
#include "tests/thumbnails/FakeThumbnailer.h"

namespace zelto::test {
namespace {

class ThumbnailBacklogTest : public testing::Test {
 protected:
  void add(const std::string& asker, const std::vector<Inode>& inodes, std::int64_t modified = 1) {
    std::vector<ThumbnailItem> items;
    for (const auto inode : inodes) items.push_back(item(inode, modified));
    call(backlog.add(asker, items, [this, asker] { answered.push_back(asker); }));
  }
  void settle(const ThumbnailItem& settled) { call(backlog.settle(settled)); }
  void call(ThumbnailBacklog::Answers answers) {
    for (auto& answer : answers) answer();
  }
  std::optional<ThumbnailItem> next() {
    ThumbnailBacklog::Answers answers;
    auto item = backlog.next([this](const std::string& asker) { return !ended.contains(asker); }, answers);
    call(std::move(answers));
    return item;
  }
  std::vector<Inode> takeAll() {
    std::vector<Inode> taken;
    while (const auto each = next()) taken.push_back(each->inode);
    return taken;
  }

  ThumbnailBacklog backlog{6};
  std::vector<std::string> answered;
  std::set<std::string> ended;  // of whom it was not told
};

using Inodes = std::vector<Inode>;
using Names = std::vector<std::string>;

TEST_F(ThumbnailBacklogTest, TheLastListComesFirstAndEachFileOnce) {
  add("a", {1, 2, 3, 4});
  add("b", {5, 3, 5});
  EXPECT_EQ((Inodes{5, 3, 1, 2, 4}), takeAll());
  add("a", {3});
  EXPECT_EQ(Inodes{}, takeAll());
}

TEST_F(ThumbnailBacklogTest, EachListIsAnsweredWhenItsLastFileIsSettled) {
  add("a", {1, 2});
  add("b", {2, 2});
  add("c", {});
  EXPECT_EQ(Names{"c"}, answered);
  takeAll();
  settle(item(2));
  EXPECT_EQ((Names{"c", "b"}), answered);
  settle(item(2));
  settle(item(1));
  EXPECT_EQ((Names{"c", "b", "a"}), answered);
}

TEST_F(ThumbnailBacklogTest, WhatOnlyThoseWantWhoHaveEndedIsGivenUp) {
  add("a", {1, 2});
  add("b", {2, 3});
  ended = {"b"};
  EXPECT_EQ((Inodes{2, 1}), takeAll());
  EXPECT_EQ(Names{}, answered);
  settle(item(2));
  EXPECT_EQ(Names{"b"}, answered);
}

TEST_F(ThumbnailBacklogTest, BeyondTheLimitTheOldestIsGivenUp) {
  add("a", {1, 2, 3});
  add("b", {4, 5});
  add("c", {6});
  EXPECT_EQ(Names{}, answered);
  add("d", {7, 8, 9});
  EXPECT_EQ(Names{"a"}, answered);
  EXPECT_EQ((Inodes{7, 8, 9, 6, 4, 5}), takeAll());
  // Also of one list that is longer than everything.
  add("e", {11, 12, 13, 14, 15, 16, 17, 18});
  EXPECT_EQ((Inodes{11, 12, 13, 14, 15, 16}), takeAll());
}

TEST_F(ThumbnailBacklogTest, WhatOnlySomebodyGoneWantedDoesNotWait) {
  add("a", {1, 2});
  add("gone", {2, 3});
  add("gone", {4});
  EXPECT_EQ(4U, next()->inode);
  call(backlog.leave("gone"));
  EXPECT_EQ((Names{"gone", "gone"}), answered);
  EXPECT_EQ((Inodes{2, 1}), takeAll());
  // Still on its way, so not asked for twice.
  add("b", {4});
  EXPECT_EQ(Inodes{}, takeAll());
  settle(item(4));
  settle(item(1));
  settle(item(2));
  EXPECT_EQ((Names{"gone", "gone", "b", "a"}), answered);
}

TEST_F(ThumbnailBacklogTest, WhatIsWantedInAnotherStateMeanwhileWaitsAgain) {
  add("a", {1}, 10);
  const auto old = *next();
  add("b", {1}, 20);
  EXPECT_EQ(Inodes{}, takeAll());
  settle(old);
  EXPECT_EQ(Names{}, answered);
  const auto now = next();
  ASSERT_TRUE(now);
  EXPECT_EQ(20, now->modified);
  settle(*now);
  EXPECT_EQ((Names{"a", "b"}), answered);
}

TEST_F(ThumbnailBacklogTest, WhatDoesNotArriveWaitsAgainInItsPlaceUnlessNobodyWantsIt) {
  add("a", {1, 2});
  add("gone", {3});
  EXPECT_EQ(3U, next()->inode);
  EXPECT_EQ(1U, next()->inode);
  call(backlog.leave("gone"));
  add("b", {4});
  backlog.waitAgain();
  EXPECT_EQ((Inodes{4, 1, 2}), takeAll());
  // What arrives late after all need not be asked for again.
  backlog.waitAgain();
  settle(item(1));
  EXPECT_EQ((Inodes{4, 2}), takeAll());
}

}  // namespace
}  // namespace zelto::test
