#include <condition_variable>
#include <future>
#include <mutex>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include "framework/changes/ChangePump.h"
#include "tests/framework/FakeExtension.h"

namespace zelto::test {
namespace {

struct ChangePumpTest : ::testing::Test, ReplicaFixture {
  ChangePump pump{extension, *replica, deadlines, std::chrono::hours(1), recordDelta()};

  // The pump works on its own queue: `then` of a signal tells when it has come by.
  void answer(std::size_t index, const std::vector<NSFileProviderItemPtr>& updates,
              const std::vector<std::string>& deletions) {
    const auto observer = extension.changes.at(index);
    if (!deletions.empty()) observer->didDeleteItemsWithIdentifiers(deletions);
    if (!updates.empty()) observer->didUpdateItems(updates);
    observer->finishEnumeratingChangesUpToSyncAnchor({}, false);
  }
  bool isInDatabase(const std::string& name) const {
    sqlite3* database = nullptr;
    sqlite3_stmt* found = nullptr;
    sqlite3_open((directory / "replica" / "replica.db").c_str(), &database);
    sqlite3_prepare_v2(database, "SELECT 1 FROM node WHERE CAST(name AS TEXT) = ?", -1, &found, nullptr);
    sqlite3_bind_text(found, 1, name.c_str(), -1, SQLITE_TRANSIENT);
    const bool there = sqlite3_step(found) == SQLITE_ROW;
    sqlite3_finalize(found);
    sqlite3_close(database);
    return there;
  }
};

TEST_F(ChangePumpTest, SignalsThatComeMeanwhileMakeOneMoreEnumeration) {
  replica->applyListing(kRootInode, {FakeItem::folder("/old")});
  std::mutex mutex;
  std::condition_variable changed;
  int done = 0;
  const auto then = [&] {
    const std::lock_guard lock(mutex);
    ++done;
    changed.notify_all();
  };
  pump.signal(then);
  pump.drain();
  ASSERT_EQ(extension.changes.size(), 1U);
  pump.signal(then);
  pump.signal(then);
  pump.drain();
  EXPECT_EQ(extension.changes.size(), 1U);
  answer(0, {FakeItem::folder("/new")}, {"/old"});
  {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return done == 1; });
  }
  pump.drain();
  ASSERT_EQ(extension.changes.size(), 2U);
  EXPECT_EQ(replica->lookup(kRootInode, "new").presence, Replica::Presence::found);
  EXPECT_EQ(replica->lookup(kRootInode, "old").presence, Replica::Presence::absent);
  ASSERT_EQ(deltas.size(), 1U);
  answer(1, {}, {});
  std::unique_lock lock(mutex);
  changed.wait(lock, [&] { return done == 3; });
  EXPECT_EQ(extension.changes.size(), 2U);
}

TEST_F(ChangePumpTest, WhatIsNotAnsweredIsAskedAgain) {
  ChangePump impatient{extension, *replica, deadlines, std::chrono::milliseconds(1), recordDelta()};
  std::promise<void> done;
  extension.changesArrived = [&] {
    if (extension.changes.size() == 3) answer(2, {}, {});
  };
  impatient.signal([&] { done.set_value(); });
  done.get_future().wait();
  EXPECT_EQ(extension.changes.size(), 3U);
}

// What a killed process leaves has everything that the host was told to have arrived.
TEST_F(ChangePumpTest, ChangesAreWrittenBeforeItIsAskedAgain) {
  replica->applyListing(kRootInode, {});
  pump.signal();
  pump.drain();
  for (std::size_t round = 0; round < 20; ++round) {
    const std::string name = "new" + std::to_string(round);
    bool written = false;
    extension.changesArrived = [&] { written = isInDatabase(name); };
    pump.signal();
    pump.drain();
    answer(round, {FakeItem::folder("/" + name)}, {});
    pump.drain();
    EXPECT_TRUE(written) << name;
  }
  extension.changesArrived = nullptr;
}

TEST_F(ChangePumpTest, AfterALossTheNextSignalAsksAgain) {
  pump.signal();
  pump.drain();
  pump.hostLost();
  pump.signal();
  pump.drain();
  EXPECT_EQ(extension.changes.size(), 2U);
}

}  // namespace
}  // namespace zelto::test
