#include <gtest/gtest.h>

#include "framework/propagation/SendQueue.h"

namespace zelto::test {
namespace {

using namespace std::chrono_literals;
using State = SendQueue::State;
using Lane = SendQueue::Lane;

// The queue with a clock that only moves when it is told to.
struct SendQueueTest : ::testing::Test {
  SendQueue queue{SendSettings{}};
  SendQueue::Time now{1000s};

  void changed(Inode inode) { queue.changed(inode, now); }
  void pass(std::chrono::milliseconds time) { now += time; }

  // What would be sent now, in order.
  std::vector<Inode> taken(Lane lane = Lane::others) {
    for (const Inode inode : queue.due(now)) queue.setLane(inode, lane);
    std::vector<Inode> inodes;
    while (const auto taken = queue.take()) {
      inodes.push_back(taken->inode);
      lastEvenIfOpen = taken->evenIfOpen;
    }
    return inodes;
  }
  void waitFor(Inode inode, LocalWait::Why why, Inode another = 0) {
    queue.waiting(inode, {why, another}, now);
  }

  State stateOf(Inode inode) { return queue.find(inode)->state; }

  bool lastEvenIfOpen = false;
  using Inodes = std::vector<Inode>;
};

TEST_F(SendQueueTest, AChangeRestsUntilTheItemIsQuietButNotForEver) {
  changed(7);
  pass(399ms);
  EXPECT_EQ(taken(), Inodes{});
  changed(7);
  pass(399ms);
  EXPECT_EQ(taken(), Inodes{});
  pass(1ms);
  EXPECT_EQ(taken(), Inodes{7});
  // One that never rests.
  for (int i = 0; i < 50; ++i) {
    EXPECT_EQ(taken(), Inodes{}) << i;
    changed(8);
    pass(100ms);
  }
  EXPECT_EQ(taken(), Inodes{8});
}

TEST_F(SendQueueTest, NothingIsSentWhileProgramsAreBusy) {
  changed(1);
  for (Inode inode = 2; inode < 20; ++inode) {
    pass(100ms);
    changed(inode);
    EXPECT_EQ(taken(), Inodes{}) << inode;
  }
  pass(149ms);
  EXPECT_EQ(taken(), Inodes{});
  EXPECT_EQ(queue.nextDue(), now + 1ms);
  pass(1ms);
  EXPECT_EQ(taken().size(), 8u);  // those that have rested, as far as there is room
}

TEST_F(SendQueueTest, ProgramsThatAreBusyForEverDoNotKeepThingsHere) {
  for (int i = 0; i < 21; ++i) {
    EXPECT_EQ(taken().empty(), i * 100 < 2000) << i;
    changed(100 + static_cast<Inode>(i));
    pass(100ms);
  }
}

TEST_F(SendQueueTest, WhatChangesWhileItIsSentRestsAgainAfterwards) {
  changed(7);
  pass(1s);
  ASSERT_EQ(taken(), Inodes{7});
  changed(7);
  EXPECT_EQ(stateOf(7), State::sending);
  queue.settled(7, now);
  EXPECT_EQ(taken(), Inodes{});
  pass(400ms);
  EXPECT_EQ(taken(), Inodes{7});
  // Without a change in between the next step follows at once.
  queue.settled(7, now);
  EXPECT_EQ(taken(), Inodes{7});
  waitFor(7, LocalWait::Why::nothing);
  EXPECT_EQ(queue.size(), 0U);
  EXPECT_EQ(queue.nextDue(), std::nullopt);
}

TEST_F(SendQueueTest, TheOldestGoFirstWithinTheLimitsOfTheirLanes) {
  for (Inode inode = 1; inode <= 20; ++inode) changed(inode);
  pass(1s);
  for (const Inode inode : queue.due(now)) {
    queue.setLane(inode, inode <= 10 ? Lane::uploads : inode <= 12 ? Lane::metadata : Lane::others);
  }
  EXPECT_EQ(taken(), (Inodes{1, 2, 3, 4, 11, 13, 14, 15}));  // four uploads, one for metadata, eight in all
  queue.settled(3, now);
  waitFor(4, LocalWait::Why::nothing);
  EXPECT_EQ(taken(Lane::uploads), (Inodes{3, 5}));
}

TEST_F(SendQueueTest, AnOpenFileIsSentWhenItIsClosedOrAfterAWhile) {
  changed(7);
  pass(1s);
  ASSERT_EQ(taken(), Inodes{7});
  waitFor(7, LocalWait::Why::writing);
  pass(13s);
  changed(7);  // a further write
  pass(400ms);
  ASSERT_EQ(taken(), Inodes{7});
  EXPECT_FALSE(lastEvenIfOpen);
  waitFor(7, LocalWait::Why::writing);
  pass(14s);
  EXPECT_EQ(taken(), Inodes{});
  pass(1s);
  EXPECT_EQ(taken(), Inodes{7});
  EXPECT_TRUE(lastEvenIfOpen);
  queue.settled(7, now);
  ASSERT_EQ(taken(), Inodes{7});
  EXPECT_FALSE(lastEvenIfOpen);
  waitFor(7, LocalWait::Why::writing);
  // Closed after a long time: a new file's rest begins then, so that what is renamed right after is seen.
  changed(7);
  EXPECT_EQ(taken(), Inodes{});
  pass(400ms);
  EXPECT_EQ(taken(), Inodes{7});
}

TEST_F(SendQueueTest, AFileClosedWhileTheReplicaSaidThatItIsOpenIsNotForgotten) {
  changed(7);
  pass(1s);
  ASSERT_EQ(taken(), Inodes{7});
  changed(7);
  waitFor(7, LocalWait::Why::writing);
  pass(400ms);
  EXPECT_EQ(taken(), Inodes{7});
}

TEST_F(SendQueueTest, WhoWaitsForAnotherLooksAgainWhenThatOneIsSettled) {
  changed(1);
  changed(2);
  pass(1s);
  ASSERT_EQ(taken(), (Inodes{1, 2}));
  waitFor(2, LocalWait::Why::another, 1);
  EXPECT_EQ(taken(), Inodes{});
  queue.failed(1, now, "full", true);
  EXPECT_EQ(taken(), Inodes{});
  pass(1s);
  ASSERT_EQ(taken(), Inodes{1});
  queue.failed(1, now, "denied", false);
  EXPECT_TRUE(queue.retry(2, now));  // that is up to the first
  ASSERT_EQ(taken(), Inodes{1});
  queue.settled(1, now);
  EXPECT_EQ(taken(), (Inodes{1, 2}));
}

TEST_F(SendQueueTest, WhoWaitsForWhatIsNoLongerSoLooksAgain) {
  changed(1);
  changed(2);
  pass(1s);
  ASSERT_EQ(taken(), (Inodes{1, 2}));
  waitFor(2, LocalWait::Why::another, 1);
  // By a change of its own …
  changed(2);
  pass(1s);
  EXPECT_EQ(taken(), Inodes{2});
  waitFor(2, LocalWait::Why::another, 1);
  // … or when the other one has come to wait for it; less and less often.
  waitFor(1, LocalWait::Why::another, 2);
  EXPECT_EQ(taken(), Inodes{});
  pass(1s);
  EXPECT_EQ(taken(), Inodes{2});
  queue.settled(2, now);
  EXPECT_EQ(taken(), (Inodes{1, 2}));
}

TEST_F(SendQueueTest, WaitingForOneWithNothingToDoDoesNotSpin) {
  changed(2);
  pass(1s);
  std::vector<std::chrono::milliseconds> pauses;
  for (int round = 0; round < 4; ++round) {
    EXPECT_EQ(taken(), Inodes{2});
    waitFor(2, LocalWait::Why::another, 1);
    ASSERT_EQ(taken(), Inodes{1});  // it was never told of
    waitFor(1, LocalWait::Why::nothing);
    EXPECT_EQ(taken(), Inodes{});
    const auto due = *queue.nextDue();
    pauses.push_back(std::chrono::duration_cast<std::chrono::milliseconds>(due - now));
    now = due;
  }
  EXPECT_EQ(pauses, (std::vector<std::chrono::milliseconds>{400ms, 800ms, 1600ms, 3200ms}));
}

TEST_F(SendQueueTest, PausesGrowAndFailuresThatStayAreTold) {
  changed(7);
  pass(1s);
  const std::vector<std::chrono::seconds> expected{1s, 2s, 4s, 8s, 16s, 32s, 60s, 60s};
  for (std::size_t i = 0; i < expected.size(); ++i) {
    ASSERT_EQ(taken(), Inodes{7});
    queue.failed(7, now, "unreachable", true);
    EXPECT_EQ(*queue.nextDue() - now, expected[i]);
    EXPECT_EQ(stateOf(7), i < 2 ? State::pausing : State::failed);
    now = *queue.nextDue();
  }
  ASSERT_EQ(taken(), Inodes{7});
  queue.settled(7, now);
  EXPECT_EQ(queue.find(7)->reason, "");
  // One that trying again does not help is told at once.
  ASSERT_EQ(taken(), Inodes{7});
  queue.failed(7, now, "denied", false);
  EXPECT_EQ(stateOf(7), State::failed);
  EXPECT_EQ(*queue.nextDue() - now, 60s);
  EXPECT_EQ(queue.active(), 0U);
  EXPECT_TRUE(queue.retry(7, now));
  EXPECT_EQ(taken(), Inodes{7});
  EXPECT_FALSE(queue.retry(99, now));
}

TEST_F(SendQueueTest, FlushingLetsEverythingGoButFailures) {
  for (Inode inode = 1; inode <= 3; ++inode) changed(inode);
  pass(1s);
  ASSERT_EQ(taken(), (Inodes{1, 2, 3}));
  waitFor(1, LocalWait::Why::writing);
  queue.failed(2, now, "denied", false);
  queue.failed(3, now, "timeout", true);
  changed(4);
  queue.flush(now);
  EXPECT_EQ(taken(), (Inodes{1, 3, 4}));
}

TEST_F(SendQueueTest, WhatStaysLocalKeepsNobodyWaiting) {
  changed(1);
  changed(2);
  pass(1s);
  ASSERT_EQ(taken(), (Inodes{1, 2}));
  waitFor(1, LocalWait::Why::staysLocal);
  waitFor(2, LocalWait::Why::another, 1);
  EXPECT_EQ(queue.active(), 0U);
  EXPECT_TRUE(queue.staysLocal(*queue.find(2)));
  EXPECT_EQ(queue.nextDue(), std::nullopt);
  changed(1);  // renamed to a name of its own
  pass(400ms);
  EXPECT_EQ(taken(), Inodes{1});
}

}  // namespace
}  // namespace zelto::test
