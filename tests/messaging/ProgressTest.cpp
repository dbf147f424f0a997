#include <gtest/gtest.h>

#include "tests/messaging/ConnectedTest.h"

namespace zelto::test {

class Progress : public ConnectedTest {
 protected:
  std::shared_ptr<NSProgress> start() {
    auto progress = server().downloadItemWithPath("/file", [this](auto, auto, auto) { replies.put(true); });
    reply = fake().downloads.take();
    return progress;
  }
  void finish() {
    reply(std::nullopt, std::nullopt, std::nullopt);
    ASSERT_NO_THROW(replies.take());
  }

  Mailbox<bool> replies;
  DownloadReply reply;
};

TEST_F(Progress, FollowsTheHostsAndIsExactAtTheReply) {
  fake().progress()->setTotalUnitCount(1'000'000);
  auto progress = start();
  ASSERT_TRUE(eventually([&] { return progress->totalUnitCount() == 1'000'000; }));
  Mailbox<std::int64_t> seen;
  progress->setChangeHandler([&seen](const NSProgress& now) { seen.put(now.completedUnitCount()); });
  for (int i = 1; i <= 500'000; ++i) fake().progress()->setCompletedUnitCount(i);
  finish();
  EXPECT_EQ(1'000'000, progress->totalUnitCount());
  EXPECT_EQ(500'000, progress->completedUnitCount());
  // Each update sets two counts. Half a million changes may take seconds under a sanitizer.
  int updates = 0;
  while (!seen.empty()) ++updates, seen.take();
  EXPECT_LT(updates, 2 * 20 * 60) << "updates are not held back";
  progress->setChangeHandler(nullptr);
}

TEST_F(Progress, IsExactAlsoWhereTheReplyIsFasterThanTheCall) {
  fake().setDuringDelete([this] {
    fake().progress()->setTotalUnitCount(7);
    fake().progress()->setCompletedUnitCount(7);
    fake().errors.take()(std::nullopt);
    EXPECT_TRUE(replies.empty());
  });
  auto progress = server().deleteItemWithPath("/file", [this](auto) { replies.put(true); });
  ASSERT_NO_THROW(replies.take());
  EXPECT_EQ(7, progress->totalUnitCount());
  EXPECT_EQ(7, progress->completedUnitCount());
}

TEST_F(Progress, UpdatesArriveWhileTheWorkGoesOn) {
  auto progress = start();
  Mailbox<std::int64_t> seen;
  progress->setChangeHandler([&seen](const NSProgress& now) { seen.put(now.totalUnitCount()); });
  // The host returns its progress after it has noted the call; until then changes have no way to us.
  ASSERT_TRUE(eventually([&] {
    fake().progress()->setTotalUnitCount(fake().progress()->totalUnitCount() + 1);
    return !seen.empty();
  }));
  finish();
  progress->setChangeHandler(nullptr);
}

TEST_F(Progress, CancellingReachesTheHostsProgressOnce) {
  Mailbox<bool> cancelled;
  fake().progress()->setCancellationHandler([&cancelled] { cancelled.put(true); });
  auto progress = start();
  progress->cancel();
  EXPECT_NO_THROW(cancelled.take());
  EXPECT_TRUE(fake().progress()->isCancelled());
  EXPECT_TRUE(replies.empty()) << "cancelling does not answer for the host";
  finish();
}

TEST_F(Progress, CancellingReachesTheHostAlsoWhereTheCallerHasAHandlerOfItsOwn) {
  Mailbox<bool> cancelled;
  fake().progress()->setCancellationHandler([&cancelled] { cancelled.put(true); });
  auto progress = start();
  int own = 0;
  progress->setCancellationHandler([&own] { ++own; });
  progress->cancel();
  EXPECT_NO_THROW(cancelled.take());
  EXPECT_EQ(1, own);
  finish();
}

TEST_F(Progress, NothingTravelsOnceTheCallIsAnswered) {
  auto progress = start();
  finish();
  auto left = fake().progress();
  left->setTotalUnitCount(77);
  progress->cancel();
  server().refreshMyFiles();
  fake().calls.take();
  EXPECT_EQ("refresh mine", fake().calls.take());
  EXPECT_FALSE(left->isCancelled());
  EXPECT_EQ(0, progress->totalUnitCount());
}

TEST_F(Progress, AHostWithoutAProgressIsNoProblem) {
  fake().setProgress(nullptr);
  auto progress = start();
  progress->cancel();
  finish();
  EXPECT_EQ(0, progress->totalUnitCount());
}

}  // namespace zelto::test
