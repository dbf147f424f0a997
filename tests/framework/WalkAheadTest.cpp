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

}  // namespace
}  // namespace zelto::test
