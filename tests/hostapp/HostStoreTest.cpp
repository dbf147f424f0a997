#include <fstream>

#include <gtest/gtest.h>

#include "hostapp/HostStore.h"
#include "hostapp/MarkedItems.h"
#include "tests/hostapp/ServerFolder.h"

namespace zelto::test {
namespace {

class HostStoreTest : public ::testing::Test {
 protected:
  std::shared_ptr<HostStore> open() {
    auto store = HostStore::open(path);
    EXPECT_TRUE(store);
    return store.value_or(nullptr);
  }
  ServerFolder folder;
  std::string path = folder.own("host.db");
};

TEST_F(HostStoreTest, RemembersEverything) {
  EXPECT_FALSE(open()->mode());
  open()->setMode({true, false});
  EXPECT_EQ((HostMode{true, false}), open()->mode().value());
  open()->addMark({MarkKind::offline, "name", "share/path", true, NSDate::sinceReferenceDate(12.5)});
  const auto marks = open()->marks();
  ASSERT_EQ(1U, marks.size());
  EXPECT_EQ(MarkKind::offline, marks[0].kind);
  EXPECT_EQ("share/path", marks[0].path);
  EXPECT_EQ(12.5, marks[0].created.timeIntervalSinceReferenceDate());
  const BackendEntry entry{"entry", {EntryKind::file, true, 5, {1, 2}, {3, 4}, 6}, ""};
  const StoredFolder stored{"share/a'b", 42, {"S", "Bname"}, FolderSnapshot::ofEntries({entry}, {100, 0})};
  open()->saveFolders({&stored});
  auto folders = open()->folders();
  ASSERT_EQ(1U, folders.size());
  EXPECT_EQ("share/a'b", folders[0].path);
  EXPECT_EQ(42U, folders[0].inode);
  EXPECT_EQ((std::vector<std::string>{"S", "Bname"}), folders[0].views);
  EXPECT_TRUE(folders[0].snapshot.changesTo(stored.snapshot).empty());
  open()->removeFolders({"share/a'b"});
  EXPECT_TRUE(open()->folders().empty());
  EXPECT_EQ(0U, open()->failedWrites());
}

TEST_F(HostStoreTest, AFileThatIsNoDatabaseIsSetAside) {
  std::ofstream(path) << std::string(5'000, 'x');
  auto store = open();
  ASSERT_TRUE(store);
  store->setMode({true, true});
  EXPECT_EQ(0U, store->failedWrites());
  EXPECT_EQ(std::string(5'000, 'x'), contentOf(path + ".broken"));
}

TEST_F(HostStoreTest, DamagedRowsDoNoHarm) {
  open()->setMode({});
  {
    auto database = *Database::open(path);
    database.execute(
        "INSERT INTO folders VALUES('share',1,'S/',x'00ff00'); INSERT INTO changes VALUES('/x',77);"
        "INSERT INTO marks VALUES(1,'../up','../../etc',0,0);"
        "INSERT INTO marks VALUES(1,'fine','share/x',0,'no number')");
  }
  auto store = open();
  ASSERT_EQ(1U, store->folders().size());
  EXPECT_EQ(0U, store->folders()[0].snapshot.size());
  EXPECT_TRUE(store->changes().empty());
  const MarkedItems marks(store);
  ASSERT_EQ(1U, marks.all(MarkKind::bookmark).size());
  EXPECT_EQ("fine", marks.all(MarkKind::bookmark)[0].name);
}

TEST_F(HostStoreTest, AFolderThatCannotBeWrittenIsAnError) {
  EXPECT_FALSE(HostStore::open(folder.own("none/host.db")));
}

}  // namespace
}  // namespace zelto::test
