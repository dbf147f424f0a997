#include <cmath>

#include "ReplicaFixture.h"

namespace zelto {
namespace {

using Presence = Replica::Presence;

class ReplicaListingTest : public ReplicaFixture {
 protected:
  void SetUp() override {
    ReplicaFixture::SetUp();
    open();
  }
  std::vector<std::string> names(Inode folder) {
    std::vector<std::string> names;
    const auto snapshot = replica->children(folder);
    if (!snapshot) return {"(not listed)"};
    replica->visit(folder, *snapshot, 0, [&](std::size_t, const NodeInfo&, std::string_view name) {
      names.emplace_back(name);
      return true;
    });
    return names;
  }
  static std::vector<std::string> sorted(std::vector<std::string> names) {
    std::sort(names.begin(), names.end());
    return names;
  }
};

TEST_F(ReplicaListingTest, OnlyAListedFolderKnowsWhatIsAbsent) {
  EXPECT_EQ(replica->lookup(kRootInode, "a").presence, Presence::unknown);
  EXPECT_EQ(replica->children(kRootInode), nullptr);
  listSmallTree();
  EXPECT_EQ(replica->lookup(kRootInode, "a").presence, Presence::found);
  EXPECT_EQ(replica->lookup(kRootInode, "A").presence, Presence::absent);
  EXPECT_EQ(replica->lookup(at("top"), "x").presence, Presence::absent);  // a file has no children
  EXPECT_EQ(replica->children(at("top")), nullptr);
  EXPECT_TRUE(replica->children(at("b"))->empty());
  EXPECT_FALSE(replica->node(987654).has_value());
  EXPECT_EQ(replica->node(kRootInode)->kind, NodeKind::folder);
  EXPECT_EQ(replica->identifier(kRootInode), NSFileProviderRootContainerItemIdentifier);
}

TEST_F(ReplicaListingTest, EverythingIsThereAgainAfterARestart) {
  auto rich = fakeFile("", "rich", 12345, 77);
  rich->createdField = 1600000000.5;
  rich->usedField = 1700000001.125;
  rich->attributesField = NSDictionary{{"user.tag", NSData::copyOf("red")}, {"user.empty", NSData()}};
  rich->flagsField = NSFileProviderFileSystemFlags{14};
  auto elsewhere = fakeFolder("", "elsewhere");
  elsewhere->identifierField = "opaque-17";
  replica->applyListing(kRootInode, {rich, fakeLink("", "link", "to/there"), elsewhere});
  replica->applyListing(at("elsewhere"), {fakeFile("opaque-17", "child")});
  const auto check = [&] {
    const NodeInfo node = *replica->node(at("rich"));
    EXPECT_EQ(node.size, 12345U);
    EXPECT_EQ(node.modifiedNs, 1700000000250000000);
    EXPECT_EQ(node.createdNs, 1600000000500000000);
    EXPECT_EQ(node.accessedNs, 1700000001125000000);
    EXPECT_EQ(node.flags, rich->flagsField);
    EXPECT_EQ(node.capabilities, rich->capabilitiesField);
    EXPECT_EQ(replica->version(node.inode), FakeItem::versionOf(77));
    const auto attributes = replica->extendedAttributes(node.inode);
    ASSERT_EQ(attributes.size(), 2U);
    EXPECT_EQ(attributes[0], std::make_pair(std::string("user.tag"), std::string("red")));
    EXPECT_EQ(attributes[1], std::make_pair(std::string("user.empty"), std::string()));
    EXPECT_EQ(replica->symlinkTarget(at("link")), "to/there");
    EXPECT_EQ(replica->node(at("link"))->size, 8U);
    EXPECT_EQ(replica->symlinkTarget(at("rich")), "");
    EXPECT_EQ(replica->identifier(at("elsewhere/child")), "opaque-17/child");
    EXPECT_EQ(replica->inodeForIdentifier("opaque-17/child"), at("elsewhere/child"));
    EXPECT_EQ(replica->inodeForIdentifier("/elsewhere/child"), std::nullopt);
    EXPECT_EQ(replica->name(at("elsewhere/child")), "child");
  };
  check();
  const std::map<std::string, Inode> before{{"rich", at("rich")}, {"link", at("link")}};
  const Inode child = at("elsewhere/child");
  open();
  EXPECT_EQ(replica->node(child)->size, 10U);  // by its number alone, before anything else is loaded
  EXPECT_EQ(replica->identifier(child), "opaque-17/child");
  check();
  for (const auto& [name, inode] : before) EXPECT_EQ(at(name), inode);
  EXPECT_EQ(replica->counts().items, 4U);
  EXPECT_EQ(replica->counts().folders, 1U);
}

TEST_F(ReplicaListingTest, TheSameListingAgainTellsNothing) {
  listSmallTree();
  const auto same = replica->applyListing(at("a"), {fakeFile("/a", "file"), fakeFolder("/a", "deep")});
  EXPECT_TRUE(same.empty());
  EXPECT_EQ(replica->lookup(at("a/deep"), "inner").presence, Presence::found);
  open();
  EXPECT_TRUE(replica->applyListing(at("a"), {fakeFile("/a", "file"), fakeFolder("/a", "deep")}).empty());
}

TEST_F(ReplicaListingTest, ADeltaSaysWhatIsNewGoneAndChanged) {
  listSmallTree();
  const Inode a = at("a"), file = at("a/file"), deep = at("a/deep");
  auto dated = fakeFolder("/a", "deep");
  dated->createdField = 5;
  const auto delta = replica->applyListing(a, {fakeFile("/a", "file", 10, 2), dated, fakeFile("/a", "new")});
  ASSERT_EQ(delta.added.size(), 1U);
  EXPECT_EQ(delta.added[0].name, "new");
  EXPECT_EQ(delta.added[0].inode, at("a/new"));
  EXPECT_EQ(delta.contentChanged, std::vector<Inode>{file});
  EXPECT_EQ(delta.metadataChanged, std::vector<Inode>{deep});
  const auto gone = replica->applyListing(kRootInode, {fakeFile("", "top")});
  EXPECT_EQ(gone.removed.size(), 2U);
  EXPECT_FALSE(replica->node(at("a/deep")).has_value());
  EXPECT_FALSE(replica->node(file).has_value());
  EXPECT_EQ(replica->counts().items, 1U);
  EXPECT_EQ(replica->counts().folders, 0U);
}

TEST_F(ReplicaListingTest, AnotherTargetOfALinkIsAnotherContent) {
  replica->applyListing(kRootInode, {fakeLink("", "link", "first")});
  const auto delta = replica->applyListing(kRootInode, {fakeLink("", "link", "other")});
  EXPECT_EQ(delta.contentChanged, std::vector<Inode>{at("link")});
  EXPECT_EQ(replica->symlinkTarget(at("link")), "other");
}

TEST_F(ReplicaListingTest, AFileThatBecomesAFolderIsAnotherItem) {
  listSmallTree();
  const Inode before = at("top");
  const auto delta =
      replica->applyListing(kRootInode, {fakeFolder("", "a"), fakeFolder("", "b"), fakeFolder("", "top")});
  EXPECT_EQ(delta.removed.size(), 1U);
  EXPECT_EQ(delta.added.size(), 1U);
  EXPECT_NE(at("top"), before);
  EXPECT_FALSE(replica->node(before).has_value());
  EXPECT_EQ(replica->lookup(at("top"), "x").presence, Presence::unknown);
}

TEST_F(ReplicaListingTest, ItemsThatChangeNamesKeepTheirNumbers) {
  const auto listed = [](const std::string& first, const std::string& second) {
    auto one = fakeFile("", first), two = fakeFile("", second, 20);
    one->identifierField = "id-1";
    two->identifierField = "id-2";
    return Items{one, two};
  };
  replica->applyListing(kRootInode, listed("x", "y"));
  const Inode x = at("x"), y = at("y");
  const auto delta = replica->applyListing(kRootInode, listed("y", "x"));
  EXPECT_EQ(delta.added.size(), 2U);
  EXPECT_EQ(delta.removed.size(), 2U);
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(at("y"), x);
    EXPECT_EQ(at("x"), y);
    EXPECT_EQ(replica->identifier(x), "id-1");
    open();
  }
}

TEST_F(ReplicaListingTest, WhatCannotBeShownIsLeftOut) {
  Items items;
  for (const std::string name : {"", ".", "..", "with/slash", "ok", "\xff\xfe bytes", "ok"}) {
    items.push_back(fakeFile("", name));
    if (name.empty()) std::static_pointer_cast<FakeItem>(items.back())->identifierField = "without name";
  }
  items.push_back(fakeFile("", std::string("nul\0inside", 10)));
  items.push_back(fakeFile("", std::string(255, 'n')));
  items.push_back(fakeFile("", std::string(256, 'n')));
  items.push_back(fakeFile("", "second name of one identifier"));
  std::static_pointer_cast<FakeItem>(items.back())->identifierField = "/ok";
  items.push_back(fakeFile("", "nameless"));
  std::static_pointer_cast<FakeItem>(items.back())->nameField.reset();
  items.push_back(fakeFile("", "unidentified"));
  std::static_pointer_cast<FakeItem>(items.back())->identifierField.reset();
  items.push_back(fakeFolder("", "the root itself"));
  std::static_pointer_cast<FakeItem>(items.back())->identifierField = "/";
  items.push_back(nullptr);

  testing::internal::CaptureStderr();
  replica->applyListing(kRootInode, items);
  const std::string lines = testing::internal::GetCapturedStderr();
  const auto shown = sorted(names(kRootInode));
  EXPECT_EQ(shown, sorted({"ok", "\xff\xfe bytes", std::string(255, 'n')}));
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 10);
  EXPECT_EQ(lines.find('\0'), std::string::npos);
  open();
  EXPECT_EQ(sorted(names(kRootInode)), shown);
}

TEST_F(ReplicaListingTest, AtMostTenLinesForOneListing) {
  Items items;
  for (int i = 0; i < 1000; ++i) items.push_back(fakeFile("", ".."));
  testing::internal::CaptureStderr();
  replica->applyListing(kRootInode, items);
  const std::string lines = testing::internal::GetCapturedStderr();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 11);
  EXPECT_NE(lines.find("990 more"), std::string::npos);
}

TEST_F(ReplicaListingTest, AVisitGoesOnWhereItStoppedOverRemovals) {
  replica->applyListing(kRootInode, fakeFiles("", "f", 100));
  const auto snapshot = replica->children(kRootInode);
  ASSERT_EQ(snapshot->size(), 100U);
  std::vector<std::string> seen;
  std::size_t next = 0;
  const auto some = [&](std::size_t count) {
    replica->visit(kRootInode, *snapshot, next,
                   [&](std::size_t index, const NodeInfo&, std::string_view name) {
                     if (count-- == 0) return false;
                     next = index + 1;
                     seen.emplace_back(name);
                     return true;
                   });
  };
  some(30);
  replica->applyChanges({}, {"/f5", "/f50", "/f51"});
  some(1000);
  EXPECT_EQ(seen.size(), 98U);
  EXPECT_EQ(std::set<std::string>(seen.begin(), seen.end()).size(), 98U);
  EXPECT_EQ(replica->children(kRootInode)->size(), 97U);
}

TEST_F(ReplicaListingTest, AHundredThousandChildren) {
  constexpr int kCount = 100000;
  const auto items = fakeFiles("", "some file ", kCount);
  const auto delta = replica->applyListing(kRootInode, items);
  EXPECT_EQ(delta.added.size(), static_cast<std::size_t>(kCount));
  const auto check = [&] {
    for (int i = 0; i < kCount; i += 7) {
      const auto found = replica->lookup(kRootInode, "some file " + std::to_string(i));
      ASSERT_EQ(found.presence, Presence::found);
      ASSERT_EQ(found.node.inode, delta.added[static_cast<std::size_t>(i)].inode);
    }
    EXPECT_EQ(replica->children(kRootInode)->size(), static_cast<std::size_t>(kCount));
  };
  check();
  open();
  check();
  EXPECT_TRUE(replica->applyListing(kRootInode, items).empty());
}

TEST_F(ReplicaListingTest, OddDatesAndSizesAreKeptWithinBounds) {
  auto odd = fakeFile("", "odd", -5);
  odd->modifiedField = std::nan("");
  auto far = fakeFile("", "far", 1);
  far->modifiedField = 1e300;
  replica->applyListing(kRootInode, {odd, far});
  EXPECT_EQ(replica->node(at("odd"))->size, 0U);
  EXPECT_EQ(replica->node(at("odd"))->modifiedNs, 0);
  EXPECT_GT(replica->node(at("far"))->modifiedNs, 1700000000000000000);
}

}  // namespace
}  // namespace zelto
