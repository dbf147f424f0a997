#include "ReplicaFixture.h"

namespace zelto {
namespace {

class ReplicaChangesTest : public ReplicaFixture {
 protected:
  void SetUp() override {
    ReplicaFixture::SetUp();
    open();
    listSmallTree();
  }
  // An update that puts the item with that identifier elsewhere.
  static FakeItemPtr moved(FakeItemPtr item, const std::string& identifier) {
    item->identifierField = identifier;
    return item;
  }
};

TEST_F(ReplicaChangesTest, AMovedSubtreeKeepsItsNumbersAndContents) {
  const Inode deep = at("a/deep"), inner = at("a/deep/inner");
  materialise(inner, 'i');
  for (const bool reopened : {false, true}) {
    if (reopened) open();  // then the subtree is moved while only the database knows what is below
    const std::string from = reopened ? "b/moved" : "a/deep", to = reopened ? "a/again" : "b/moved";
    const auto item =
        reopened ? moved(fakeFolder("/a", "again"), "/a/deep") : moved(fakeFolder("/b", "moved"), "/a/deep");
    const auto delta = replica->applyChanges({item}, {});
    ASSERT_EQ(delta.removed.size(), 1U);
    ASSERT_EQ(delta.added.size(), 1U);
    EXPECT_EQ(delta.removed[0].inode, deep);
    EXPECT_EQ(delta.added[0].inode, deep);
    EXPECT_EQ(delta.added[0].parent, at(reopened ? "a" : "b"));
    EXPECT_EQ(at(to), deep);
    EXPECT_EQ(at(to + "/inner"), inner);
    EXPECT_EQ(at(from), 0U);
    EXPECT_EQ(replica->identifier(inner), "/a/deep/inner");
    EXPECT_EQ(replica->inodeForIdentifier("/a/deep/inner"), inner);
    EXPECT_EQ(bytesOf(*content(inner)), std::string(10, 'i'));
  }
}

TEST_F(ReplicaChangesTest, ADeletedFolderTakesAllBelowWithIt) {
  materialise(at("a/deep/inner"), 'x');
  materialise(at("a/file"), 'y');
  const Inode inner = at("a/deep/inner");
  const auto holder = content(at("a/file"));
  open();
  ASSERT_EQ(contentFilesOnDisk(), 2U);
  // Only the root is in memory now; what is below is found in the database.
  const auto delta = replica->applyChanges({}, {"/a", "/never-heard-of", "/", "no path"});
  ASSERT_EQ(delta.removed.size(), 1U);
  EXPECT_EQ(delta.removed[0].name, "a");
  EXPECT_FALSE(replica->node(inner).has_value());
  replica->flush();
  EXPECT_FALSE(replica->node(inner).has_value());
  EXPECT_EQ(contentFilesOnDisk(), 0U);
  EXPECT_EQ(replica->counts().items, 2U);
  EXPECT_EQ(replica->counts().materialisedFiles, 0U);
  EXPECT_EQ(bytesOf(*holder), std::string(10, 'y'));  // whoever has it open reads on
  open();
  EXPECT_EQ(replica->counts().items, 2U);
  EXPECT_EQ(replica->counts().folders, 1U);
}

TEST_F(ReplicaChangesTest, OnlyWhatStandsInAListedFolderIsLearnt) {
  const auto known = [&](const std::string& identifier) {
    return replica->inodeForIdentifier(identifier).has_value();
  };
  replica->applyListing(at("b"), {fakeFolder("/b", "unlisted")});
  const auto root = std::make_shared<FakeItem>(*fakeFolder("", "Zelto"));
  root->identifierField = NSFileProviderRootContainerItemIdentifier;
  auto slash = fakeFile("", "slash");
  slash->parentField = "/";
  auto parentless = fakeFile("/a", "parentless");
  parentless->parentField.reset();
  const auto delta = replica->applyChanges(
      {fakeFile("/b", "seen"), fakeFile("/b/unlisted", "unseen"), fakeFile("/nowhere", "unseen"),
       fakeFile("/top", "in a file"), root, slash, parentless},
      {});
  EXPECT_EQ(delta.added.size(), 2U);
  EXPECT_TRUE(known("/b/seen"));
  EXPECT_TRUE(known("/slash"));
  EXPECT_FALSE(known("/b/unlisted/unseen"));
  EXPECT_FALSE(known("/a/parentless"));
  EXPECT_EQ(replica->identifier(kRootInode), NSFileProviderRootContainerItemIdentifier);
}

TEST_F(ReplicaChangesTest, AKnownItemMayMoveToWhereNobodyLookedYet) {
  replica->applyListing(at("b"), {fakeFolder("/b", "unlisted")});
  const Inode file = at("a/file"), lost = at("top");
  materialise(file, 'f');
  replica->applyChanges(
      {moved(fakeFile("/b/unlisted", "file"), "/a/file"), moved(fakeFile("/elsewhere", "top"), "/top")}, {});
  EXPECT_FALSE(replica->node(lost).has_value());
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(replica->lookup(at("b/unlisted"), "file").node.inode, file);
    EXPECT_EQ(replica->lookup(at("b/unlisted"), "other").presence, Replica::Presence::unknown);
    EXPECT_EQ(replica->children(at("b/unlisted")), nullptr);
    open();
  }
  const Inode unlisted = at("b/unlisted");
  replica->applyListing(unlisted, {moved(fakeFile("/b/unlisted", "file"), "/a/file")});
  EXPECT_EQ(at("b/unlisted/file"), file);
  EXPECT_EQ(bytesOf(*content(file)), std::string(10, 'f'));
}

TEST_F(ReplicaChangesTest, NamesThatAreTakenMakeRoom) {
  const Inode file = at("a/file");
  // Over the name of something else, which is gone; and in a ring.
  replica->applyListing(at("b"), {fakeFile("/b", "x"), fakeFile("/b", "y")});
  const Inode x = at("b/x"), y = at("b/y");
  auto delta = replica->applyChanges({moved(fakeFile("/b", "x"), "/a/file")}, {});
  EXPECT_EQ(at("b/x"), file);
  EXPECT_FALSE(replica->node(x).has_value());
  delta =
      replica->applyChanges({moved(fakeFile("/b", "y"), "/a/file"), moved(fakeFile("/b", "x"), "/b/y")}, {});
  EXPECT_EQ(at("b/y"), file);
  EXPECT_EQ(at("b/x"), y);
  open();
  EXPECT_EQ(at("b/y"), file);
  EXPECT_EQ(at("b/x"), y);
  EXPECT_EQ(replica->children(at("b"))->size(), 2U);
}

TEST_F(ReplicaChangesTest, CirclesAreRefused) {
  const Inode a = at("a"), deep = at("a/deep");
  EXPECT_TRUE(replica->applyChanges({moved(fakeFolder("/a/deep", "a"), "/a")}, {}).empty());
  EXPECT_EQ(at("a"), a);
  // Each below the other: neither has a place, and everything still has an end.
  replica->applyListing(at("b"), {fakeFolder("/b", "c")});
  replica->applyListing(at("b/c"), {});
  replica->applyChanges({moved(fakeFolder("/a/deep", "b"), "/b"), moved(fakeFolder("/b/c", "a"), "/a")}, {});
  for (const Inode inode : {a, deep}) replica->identifier(inode);
  replica->flush();
  open();
  EXPECT_NE(at("top"), 0U);
  EXPECT_EQ(replica->counts().items, 1U);
}

TEST_F(ReplicaChangesTest, DeletedAndThereAgainIsTheSame) {
  const Inode file = at("a/file");
  const auto delta = replica->applyChanges({fakeFile("/a", "file", 10, 5)}, {"/a/file"});
  EXPECT_EQ(at("a/file"), file);
  EXPECT_EQ(delta.contentChanged, std::vector<Inode>{file});
  EXPECT_TRUE(delta.removed.empty());
  // Of a folder it is to be asked what is in it now.
  const Inode folder = at("a");
  const auto replaced = replica->applyChanges({fakeFolder("", "a")}, {"/a"});
  EXPECT_EQ(at("a"), folder);
  EXPECT_TRUE(replaced.removed.empty());
  EXPECT_NE(std::ranges::find(replaced.toList, folder), replaced.toList.end());
  EXPECT_EQ(at("a/file"), file);
  replica->applyListing(folder, {});
  EXPECT_EQ(at("a/file"), 0U);
  replica->applyListing(folder, {fakeFile("/a", "file", 10, 5)});
  // The last word on one item counts.
  const Inode again = at("a/file");
  replica->applyChanges({fakeFile("/a", "file", 11, 6), fakeFile("/a", "file", 12, 7)}, {});
  EXPECT_EQ(replica->node(again)->size, 12U);
  EXPECT_EQ(replica->version(again), FakeItem::versionOf(7));
}

// The server has an empty file in its place, so nobody but the replica knows where it leads.
TEST_F(ReplicaChangesTest, ALinkMadeHereLeadsToTheSameThroughMovesAndRestarts) {
  const auto inode = replica->create(at("a"), "link", {NodeKind::symlink, 0, "where/it/leads"})->node.inode;
  replica->settle(*replica->beginStep(inode), fakeFile("/a", "link", 0));
  open();
  ASSERT_EQ(replica->rename(inode, at("b"), "moved", false), 0);
  replica->settle(*replica->beginStep(inode), fakeFile("/b", "moved", 0));
  EXPECT_EQ(replica->symlinkTarget(inode), "where/it/leads");
  open();
  EXPECT_EQ(at("b/moved"), inode);
  EXPECT_EQ(replica->symlinkTarget(inode), "where/it/leads");
}

TEST_F(ReplicaChangesTest, AFreshRecordOfOneItem) {
  const Inode file = at("a/file");
  auto delta = replica->applyItem(file, fakeFile("/a", "file", 99, 9));
  EXPECT_EQ(delta.contentChanged, std::vector<Inode>{file});
  EXPECT_EQ(replica->node(file)->size, 99U);
  // What comes of another name was asked for before the item moved, or is of another one.
  EXPECT_TRUE(replica->applyItem(file, fakeFile("/b", "renamed", 98, 8)).empty());
  EXPECT_EQ(replica->node(file)->size, 99U);
  EXPECT_TRUE(replica->applyItem(4711, fakeFile("/a", "file")).empty());
  EXPECT_TRUE(replica->applyItem(kRootInode, fakeFolder("/a", "file")).empty());
  EXPECT_TRUE(replica->applyItem(file, nullptr).empty());
}

TEST_F(ReplicaChangesTest, IdentifiersOfManyLevelsHaveAnEnd) {
  std::string path;
  for (int i = 0; i < 200000; ++i) path += "/a";
  EXPECT_EQ(replica->inodeForIdentifier(path), std::nullopt);
  EXPECT_EQ(replica->inodeForIdentifier(""), std::nullopt);
  EXPECT_EQ(replica->inodeForIdentifier("//a"), std::nullopt);
  EXPECT_EQ(replica->inodeForIdentifier(NSFileProviderRootContainerItemIdentifier + "/a"), std::nullopt);
  EXPECT_EQ(replica->inodeForIdentifier("/"), kRootInode);
  EXPECT_EQ(replica->inodeForRelativePath("a//deep/"), at("a/deep"));
}

}  // namespace
}  // namespace zelto
