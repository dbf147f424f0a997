#include <future>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "framework/requests/Deadlines.h"
#include "framework/requests/HostLink.h"

namespace zelto::test {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;

TEST(DeadlinesTest, RunsInOrderOfTimeAlsoWhatComesLater) {
  Deadlines deadlines;
  std::vector<int> order;
  std::promise<void> last;
  const auto now = Deadlines::Clock::now();
  deadlines.schedule(now + hours(1), [&] { order.push_back(9); });
  deadlines.schedule(now + milliseconds(30), [&] {
    order.push_back(2);
    last.set_value();
  });
  deadlines.schedule(now + milliseconds(10), [&] { order.push_back(1); });
  last.get_future().wait();
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

TEST(DeadlinesTest, WhatIsCancelledNeverRunsAndMayBeCancelledByItself) {
  Deadlines deadlines;
  bool ran = false;
  std::promise<void> later;
  const auto now = Deadlines::Clock::now();
  const auto first = deadlines.schedule(now + milliseconds(20), [&] { ran = true; });
  Deadlines::Ticket own = 0;
  own = deadlines.schedule(now + milliseconds(40), [&] {
    deadlines.cancel(own);
    later.set_value();
  });
  deadlines.cancel(first);
  deadlines.cancel(first);
  later.get_future().wait();
  EXPECT_FALSE(ran);
}

// The thread is woken for the first one, finds nothing, and is to be woken again for the second.
TEST(DeadlinesTest, OneThatIsCancelledAtOnceDelaysNoLaterOne) {
  Deadlines deadlines;
  for (int round = 0; round < 200; ++round) {
    const auto now = Deadlines::Clock::now();
    deadlines.cancel(deadlines.schedule(now + milliseconds(2), [] {}));
    for (int turn = 0; turn < 1'000; ++turn) std::this_thread::yield();
    std::promise<void> ran;
    deadlines.schedule(now + milliseconds(3), [&] { ran.set_value(); });
    ASSERT_EQ(ran.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready) << round;
  }
}

struct RecordedLink {
  explicit RecordedLink(milliseconds grace) : link(deadlines, grace) {
    link.addObserver([this](bool present) {
      heard.push_back(present);
      if (present) ready.set_value();
    });
  }
  Deadlines deadlines;
  HostLink link;
  std::vector<bool> heard;
  std::promise<void> ready;
};

TEST(HostLinkTest, OnlyTheLastPeerThatTookAnEndpointCounts) {
  RecordedLink recorded(hours(1));
  HostLink& link = recorded.link;
  link.ready(":1.1");
  link.endpointTaken(":1.1");
  link.ready(":1.2");
  EXPECT_FALSE(link.present());
  link.ready(":1.1");
  link.ready(":1.1");
  EXPECT_TRUE(link.present());
  link.peerLeft(":1.2");
  EXPECT_TRUE(link.present());
  link.endpointTaken(":1.3");
  EXPECT_FALSE(link.present());
  link.peerLeft(":1.3");
  link.ready(":1.3");
  EXPECT_FALSE(link.present());
  EXPECT_EQ(recorded.heard, (std::vector<bool>{true, false}));
}

TEST(HostLinkTest, AHostThatSignalsNothingIsReadyAfterAWhile) {
  RecordedLink recorded(milliseconds(1));
  recorded.link.endpointTaken(":1.1");
  recorded.ready.get_future().wait();
  EXPECT_TRUE(recorded.link.present());
}

}  // namespace
}  // namespace zelto::test
