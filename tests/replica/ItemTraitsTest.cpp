#include <sqlite3.h>

#include "ReplicaFixture.h"
#include "framework/replica/ItemTraits.h"

namespace zelto {
namespace {

NSDictionary someInfo() {
  return {{"canBookmark", true}, {"canRemove", 1}, {"label", "Zoë"}, {"share", 0.5}, {"isBookmark", false}};
}

class ItemTraitsTest : public ReplicaFixture {
 protected:
  static FakeItemPtr marked(const std::string& parent, const std::string& name) {
    auto item = fakeFile(parent, name);
    item->userInfoField = someInfo();
    item->decorationsField = {"bookmark", "red"};
    return item;
  }
  std::shared_ptr<const ItemTraits> traitsOf(const std::string& path) {
    const auto node = replica->node(at(path));
    return node ? replica->traits(node->traits) : nullptr;
  }
  void execute(const char* statements) const {
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open((directory + "/replica.db").c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, statements, nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(database);
    sqlite3_close(database);
  }
};

TEST_F(ItemTraitsTest, AreKeptOverRestartsAndChangesOfThemAreTold) {
  open();
  replica->applyListing(kRootInode, {marked("", "a"), marked("", "b"), fakeFile("", "plain")});
  EXPECT_EQ(replica->node(at("a"))->traits, replica->node(at("b"))->traits);
  open();
  ASSERT_NE(traitsOf("a"), nullptr);
  EXPECT_EQ(traitsOf("a")->userInfo, someInfo());
  EXPECT_EQ(traitsOf("a")->decorations, (std::vector<std::string>{"bookmark", "red"}));
  EXPECT_EQ(traitsOf("plain"), nullptr);

  auto other = marked("", "a");
  other->decorationsField = {"bookmark"};
  const auto delta = replica->applyChanges({other, marked("", "b")}, {});
  EXPECT_EQ(delta.metadataChanged, std::vector<Inode>{at("a")});
  EXPECT_TRUE(delta.contentChanged.empty());
  open();
  EXPECT_EQ(traitsOf("a")->decorations, std::vector<std::string>{"bookmark"});
  EXPECT_EQ(traitsOf("b")->decorations.size(), 2U);
}

TEST_F(ItemTraitsTest, AreNotMixedUpWithALocalChangeThatIsRestored) {
  open();
  replica->applyListing(kRootInode, {marked("", "a"), fakeFile("", "plain")});
  replica->flush();
  ASSERT_EQ(replica->rename(at("a"), kRootInode, "moved", false), 0);
  open();
  ASSERT_NE(traitsOf("moved"), nullptr);
  EXPECT_EQ(traitsOf("moved")->decorations.size(), 2U);
}

TEST_F(ItemTraitsTest, AReplicaFromBeforeThereWereAnyIsKept) {
  open();
  replica->applyListing(kRootInode, {marked("", "a")});
  const Inode before = at("a");
  replica.reset();
  execute("DROP TABLE traits; ALTER TABLE node DROP COLUMN traits; PRAGMA user_version = 3");
  open();
  EXPECT_EQ(at("a"), before);
  EXPECT_EQ(traitsOf("a"), nullptr);
  EXPECT_EQ(replica->applyListing(kRootInode, {marked("", "a")}).metadataChanged, std::vector<Inode>{before});
  open();
  EXPECT_EQ(traitsOf("a")->userInfo, someInfo());
}

TEST_F(ItemTraitsTest, DamagedOnesAreNoneUntilTheyAreToldAgain) {
  open();
  replica->applyListing(kRootInode, {marked("", "a")});
  replica.reset();
  execute("UPDATE traits SET bytes = x'ff00ff'");
  open();
  EXPECT_EQ(traitsOf("a"), nullptr);
  replica->applyListing(kRootInode, {marked("", "a")});
  EXPECT_EQ(traitsOf("a")->userInfo, someInfo());
  const std::string bytes = ItemTraits{someInfo(), {"x"}}.encoded();
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    ItemTraits::decoded(std::string_view(bytes).substr(0, length));
  }
}

TEST_F(ItemTraitsTest, TooMuchOfThemIsNone) {
  ItemTraitsPool pool;
  EXPECT_EQ(pool.numberFor({}), 0U);
  EXPECT_EQ(pool.numberFor({{{"text", std::string(5'000, 'x')}, {"more", std::string(5'000, 'y')}}, {}}), 0U);
  EXPECT_EQ(pool.numberFor({{{"kept", true}}, {}}), 1U);
}

}  // namespace
}  // namespace zelto
