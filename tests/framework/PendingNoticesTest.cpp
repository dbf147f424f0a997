#include <gtest/gtest.h>

#include "framework/notices/PendingNotices.h"
#include "tests/framework/FakeExtension.h"

namespace zelto::test {
namespace {

// What is told of a folder, given what happened in it and what is there by now.
struct PendingNoticesTest : ::testing::Test, ReplicaFixture {
  PendingNotices pending;

  ReplicaDelta::Name name(const std::string& text) {
    const NodeInfo node = replica->lookup(kRootInode, text).node;
    return {kRootInode, node.inode, text, 0, node.kind};
  }
  void there(const std::vector<std::string>& files) {
    std::vector<NSFileProviderItemPtr> items;
    for (const std::string& file : files) items.push_back(FakeItem::file("/" + file, 1));
    replica->applyListing(kRootInode, items);
  }
  // "+" appeared, "-" went, ">" was moved to, "c" content, "a" attributes, each with the name.
  std::string told(std::size_t most = 100) {
    std::string text;
    const PendingNotices::Told told = PendingNotices::noticesFor(pending.take(most), *replica);
    pending.leaveUntold(told.untold);
    for (const Notice& notice : told.notices) {
      text += "?+->ca"[static_cast<int>(notice.kind)];
      text += notice.place.name + " ";
    }
    return text;
  }
};

TEST_F(PendingNoticesTest, WhatIsToldIsWhatDiffersInTheEnd) {
  there({"came", "went", "changed", "dated", "back", "brief"});
  const auto went = name("went"), brief = name("brief"), changed = name("changed");
  pending.appeared(name("came"));
  pending.gone(went);
  pending.changed(*replica->node(changed.inode), "changed", true);
  pending.changed(*replica->node(changed.inode), "changed", false);
  pending.changed(*replica->node(name("dated").inode), "dated", false);
  pending.gone(name("back"));
  pending.appeared(name("back"));
  pending.appeared(brief);
  pending.gone(brief);
  there({"came", "changed", "dated", "back"});
  EXPECT_EQ(told(), "+came -went cchanged achanged adated ");
  EXPECT_TRUE(pending.empty());
}

TEST_F(PendingNoticesTest, ADifferentItemOfTheSameNameIsAnother) {
  there({"name"});
  pending.gone(name("name"));
  there({});
  there({"name"});
  pending.appeared(name("name"));
  EXPECT_EQ(told(), "-name +name ");
  pending.appeared(name("name"));
  pending.gone(name("name"));  // two at once, of which the watcher knew none
  there({});
  there({"name"});
  pending.appeared(name("name"));
  EXPECT_EQ(told(), "+name ");
}

// The replica is further already when the turn comes: that is told when it is heard, and once.
TEST_F(PendingNoticesTest, WhatWasNotHeardYetIsNotToldYet) {
  there({"brief", "changed", "replaced"});
  const auto brief = name("brief"), changed = name("changed"), replaced = name("replaced");
  pending.appeared(brief);
  pending.changed(*replica->node(changed.inode), "changed", true);
  pending.gone(replaced);
  there({});
  there({"replaced"});
  EXPECT_EQ(told(), "-replaced ");
  EXPECT_FALSE(pending.isAtMostTouched(brief));
  pending.gone(brief);
  pending.gone(changed);
  pending.appeared(name("replaced"));
  EXPECT_EQ(told(), "-changed +replaced ");
}

TEST_F(PendingNoticesTest, WhatIsHeardWhileOthersAreToldIsNotLost) {
  there({"brief"});
  const auto brief = name("brief");
  pending.appeared(brief);
  const auto places = pending.take(1);
  there({});
  const PendingNotices::Told early = PendingNotices::noticesFor(places, *replica);
  EXPECT_TRUE(early.notices.empty());
  pending.gone(brief);
  pending.leaveUntold(early.untold);
  EXPECT_EQ(told(), "");
  there({"brief"});
  pending.appeared(name("brief"));
  EXPECT_EQ(told(), "+brief ");
}

TEST_F(PendingNoticesTest, WhatWasTouchedStillMoves) {
  there({"old"});
  const auto from = name("old");
  auto to = from;
  to.name = "new";
  pending.changed(*replica->node(from.inode), "old", true);
  pending.changed(*replica->node(from.inode), "new", false);  // as the replica names it by then
  EXPECT_TRUE(pending.isAtMostTouched(from) && pending.isAtMostTouched(to));
  pending.moved(from, to);
  EXPECT_FALSE(pending.isAtMostTouched(from));
  pending.changed(*replica->node(from.inode), "new", false);
  replica->applyChanges(
      {std::make_shared<FakeItem>("/old", NSFileProviderRootContainerItemIdentifier, "new", false, 1, 1)},
      {});
  EXPECT_EQ(told(), ">new cnew anew ");
  EXPECT_TRUE(pending.empty());
}

TEST_F(PendingNoticesTest, AMoveIsToldAloneAndSplitWhenItsPlacesGoOn) {
  there({"first", "old", "last"});
  const auto first = name("first"), last = name("last");
  auto from = name("old"), to = from;
  to.name = "new";
  const auto renamed = [this](const char* now) {
    replica->applyChanges(
        {std::make_shared<FakeItem>("/old", NSFileProviderRootContainerItemIdentifier, now, false, 1, 1)},
        {});
  };
  renamed("new");
  pending.changed(*replica->node(first.inode), "first", false);
  pending.moved(from, to);
  pending.changed(*replica->node(last.inode), "last", false);
  EXPECT_EQ(told(), "afirst ");
  EXPECT_EQ(told(), ">new ");
  EXPECT_EQ(told(), "alast ");

  // It moved on before anybody was told.
  std::swap(from, to);  // from "new" to "old", and then to "third"
  pending.moved(from, to);
  pending.gone(to);
  renamed("third");
  pending.appeared(name("third"));
  EXPECT_EQ(told(), "-new +third ");
}

TEST_F(PendingNoticesTest, WhatComesWhereSomethingMovedAwayIsToldAfterTheMove) {
  there({"old"});
  const auto from = name("old");
  auto to = from;
  to.name = "new";
  const auto root = NSFileProviderRootContainerItemIdentifier;
  const auto moved = std::make_shared<FakeItem>("/old", root, "new", false, 1, 1);
  const auto other = std::make_shared<FakeItem>("/other", root, "old", false, 1, 1);
  replica->applyListing(kRootInode, {moved, other});
  pending.moved(from, to);
  pending.appeared(name("old"));
  EXPECT_EQ(told(), ">new ");
  EXPECT_EQ(told(), "+old ");

  pending.moved(from, to);
  pending.appeared(name("old"));
  pending.gone(to);  // nobody was told of the move
  replica->applyListing(kRootInode, {other});
  EXPECT_EQ(told(), "-old +old ");
  EXPECT_TRUE(pending.empty());
}

TEST_F(PendingNoticesTest, TooMuchIsLeftOut) {
  for (std::size_t i = 0; i < PendingNotices::kMost + 100; ++i) {
    pending.appeared({kRootInode, 1000 + i, "file " + std::to_string(i)});
  }
  EXPECT_TRUE(pending.full());
  EXPECT_EQ(pending.take(PendingNotices::kMost + 100).size(), PendingNotices::kMost);
  EXPECT_TRUE(pending.empty());
}

}  // namespace
}  // namespace zelto::test
