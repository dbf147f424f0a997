#include <set>

#include <gtest/gtest.h>

#include "framework/walking/WalkAhead.h"
#include "tests/framework/FakeExtension.h"

namespace zelto::test {
namespace {

struct WalkAheadTest : ::testing::Test, ReplicaFixture {
  Lister lister{extension, *replica, recordDelta(), [](std::size_t) {}};
  Materialiser materialiser{extension, *replica, link, recordDelta()};
  WalkAhead walk{*replica, lister, materialiser};

  WalkAheadTest() { lister.hostReady(); }

  NodeInfo node(const std::string& name) { return replica->lookup(kRootInode, name).node; }
  std::vector<std::string> listed() const {
    std::vector<std::string> identifiers;
    for (const auto& [identifier, observer] : extension.listings) identifiers.push_back(identifier);
    return identifiers;
  }
};

TEST_F(WalkAheadTest, AWalkOverFoldersIsForeseenASingleFolderIsNot) {
  std::vector<NSFileProviderItemPtr> items;
  for (int i = 0; i < 10; ++i) items.push_back(FakeItem::folder("/f" + std::to_string(i)));
  items.insert(items.begin() + 3, FakeItem::file("/a file", 1));
  replica->applyListing(kRootInode, items);
  walk.openedFolder(node("f0"), true);
  EXPECT_TRUE(listed().empty());
  walk.openedFolder(node("f1"), true);
  EXPECT_EQ(listed(), (std::vector<std::string>{"/f2", "/f3", "/f4"}));  // the file counts as one of four
  extension.answerListing(0, {});
  walk.openedFolder(node("f2"), false);  // listed ahead: the walk goes on
  EXPECT_EQ(listed().back(), "/f5");
  walk.openedFolder(node("f2"), false);  // opened again: nothing follows
  EXPECT_EQ(listed().size(), 4U);
  lister.hostLost();
  lister.hostReady();
  EXPECT_EQ(listed().size(), 4U);  // nobody waits for them
}

TEST_F(WalkAheadTest, AWalkMayGoBackwards) {
  std::vector<NSFileProviderItemPtr> items;
  for (int i = 0; i < 10; ++i) items.push_back(FakeItem::folder("/f" + std::to_string(i)));
  replica->applyListing(kRootInode, items);
  walk.openedFolder(node("f9"), true);
  walk.openedFolder(node("f8"), true);  // its place is learnt here
  walk.openedFolder(node("f7"), true);
  const auto asked = listed();
  EXPECT_EQ(std::vector<std::string>(asked.end() - 4, asked.end()),
            (std::vector<std::string>{"/f6", "/f5", "/f4", "/f3"}));
}

TEST_F(WalkAheadTest, AWalkOverSmallFilesIsForeseen) {
  std::vector<NSFileProviderItemPtr> items;
  for (int i = 0; i < 9; ++i)
    items.push_back(FakeItem::file("/f" + std::to_string(i), i == 5 ? 1 << 20 : 100));
  replica->applyListing(kRootInode, items);
  for (const char* name : {"f0", "f1", "f2"}) walk.openedFile(node(name), true);
  EXPECT_TRUE(extension.wholes.empty());
  walk.openedFile(node("f3"), true);
  EXPECT_EQ(extension.wholes.size(), 3U);  // f4, f6, f7: f5 is large
  extension.wholes[0](delivered(std::string(100, 'x')), items[4], std::nullopt);
  EXPECT_FALSE(replica->materialisedRanges(node("f4").inode).empty());
  walk.openedFile(node("f8"), false);  // known already and not foreseen: no walk
  EXPECT_EQ(extension.wholes.size(), 3U);
}

struct LookupBurstTest : WalkAheadTest {
  static constexpr int kTrees = 4;
  static constexpr int kBranches = 40;

  LookupBurst::Clock::time_point now{};
  LookupBurst burst{*replica, [this] { return now; }};

  LookupBurstTest() {
    std::vector<NSFileProviderItemPtr> trees;
    for (int tree = 0; tree < kTrees; ++tree) trees.push_back(FakeItem::folder(path(tree)));
    replica->applyListing(kRootInode, trees);
    for (int tree = 0; tree < kTrees; ++tree) {
      std::vector<NSFileProviderItemPtr> branches;
      for (int i = 0; i < kBranches; ++i) branches.push_back(FakeItem::folder(path(tree, i)));
      replica->applyListing(folder(path(tree)), branches);
    }
  }

  static std::string path(int tree) { return "/t" + std::to_string(tree); }
  static std::string path(int tree, int branch) { return path(tree) + "/s" + std::to_string(branch); }
  Inode folder(const std::string& identifier) const { return *replica->inodeForIdentifier(identifier); }
  Inode branch(int number) const { return folder(path(number % kTrees, number / kTrees)); }
  // Looks into folders of all trees in turn, up to the one before the burst.
  void almost() {
    for (int i = 0; i + 1 < static_cast<int>(LookupBurst::kFolders); ++i) {
      EXPECT_TRUE(burst.lookedUp(branch(i), true, 4).empty());
    }
  }
};

TEST_F(LookupBurstTest, ManyFoldersInAShortTimeAreABurst) {
  almost();
  EXPECT_TRUE(burst.lookedUp(branch(3), true, 4).empty());  // looked into already
  const auto found = burst.lookedUp(branch(21), true, 4);
  EXPECT_EQ(found, (std::vector<Inode>{branch(25), branch(29), branch(33), branch(37)}));
  EXPECT_TRUE(burst.lookedUp(branch(100), false, 4).empty());  // was listed long before
  replica->applyListing(branch(41), {});
  EXPECT_EQ(burst.lookedUp(branch(29), false, 2), (std::vector<Inode>{branch(45), branch(49)}));
  EXPECT_TRUE(burst.lookedUp(branch(29), false, 2).empty());
}

TEST_F(LookupBurstTest, FoldersOverALongTimeOrDownOnePathAreNone) {
  almost();
  now += LookupBurst::kTime + std::chrono::milliseconds(1);
  almost();
  std::string deep = path(0, 9);
  for (int depth = 0; depth < 40; ++depth) {
    const std::string below = deep + "/d";
    replica->applyListing(folder(deep), {FakeItem::folder(below), FakeItem::folder(deep + "/e")});
    deep = below;
    now += LookupBurst::kTime / 4;
    EXPECT_TRUE(burst.lookedUp(folder(deep), true, 4).empty());
  }
}

TEST_F(LookupBurstTest, OfALargeFolderNoMoreIsToldThanFoldersAreLookedInto) {
  almost();
  std::set<Inode> told;
  int lookedInto = 0;
  for (int i = 0; i < kBranches; i += 5, ++lookedInto) {
    for (const Inode inode : burst.lookedUp(folder(path(3, i)), true, 2)) {
      EXPECT_TRUE(told.insert(inode).second);
    }
  }
  EXPECT_LE(told.size(), 2U * static_cast<std::size_t>(lookedInto));
  EXPECT_GE(told.size(), static_cast<std::size_t>(lookedInto));
}

TEST_F(LookupBurstTest, FewListingsOfABurstAreInFlight) {
  for (int i = 0; i < 60; ++i) walk.lookedUp(branch(i), true);
  EXPECT_EQ(extension.listings.size(), WalkAhead::kBurstListings);
  extension.answerListing(0, {});
  walk.lookedUp(branch(70), true);
  EXPECT_EQ(extension.listings.size(), WalkAhead::kBurstListings + 1);
}

}  // namespace
}  // namespace zelto::test
