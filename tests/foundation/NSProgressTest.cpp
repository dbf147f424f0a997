#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/foundation/NSProgress.h"

namespace zelto {
namespace {

using testing::ElementsAre;

TEST(NSProgressTest, countsItsOwnUnitsAndItsChildrensShare) {
  const auto parent = NSProgress::create(10);
  const auto child = NSProgress::create(4);
  parent->setCompletedUnitCount(2);
  parent->addChild(child, 8);
  child->setCompletedUnitCount(1);
  EXPECT_DOUBLE_EQ(parent->fractionCompleted(), 0.4);
  EXPECT_FALSE(parent->isFinished());
  child->setCompletedUnitCount(4);
  EXPECT_DOUBLE_EQ(parent->fractionCompleted(), 1);
  EXPECT_TRUE(parent->isFinished());
}

TEST(NSProgressTest, isNeverOutsideNoughtToOne) {
  const auto progress = NSProgress::create();
  progress->setCompletedUnitCount(3);
  EXPECT_EQ(progress->fractionCompleted(), 0);
  EXPECT_FALSE(progress->isFinished());
  progress->setTotalUnitCount(2);
  EXPECT_EQ(progress->fractionCompleted(), 1);
  progress->setCompletedUnitCount(-1);
  EXPECT_EQ(progress->fractionCompleted(), 0);
}

TEST(NSProgressTest, cancelsOnceAndDownwards) {
  const auto parent = NSProgress::create(1);
  const auto early = NSProgress::create(1);
  const auto late = NSProgress::create(1);
  int calls = 0;
  parent->setCancellationHandler([&] {
    ++calls;
    EXPECT_TRUE(parent->isCancelled()) << "the handler must be able to use the progress";
  });
  parent->addChild(early, 1);
  parent->cancel();
  parent->cancel();
  parent->addChild(late, 1);
  EXPECT_EQ(calls, 1);
  EXPECT_TRUE(early->isCancelled());
  EXPECT_TRUE(late->isCancelled());
  parent->setCancellationHandler([&] { calls += 10; });
  EXPECT_EQ(calls, 11) << "a handler that comes too late runs at once";
}

TEST(NSProgressTest, aReplacedHandlerDoesNotRun) {
  const auto progress = NSProgress::create(1);
  int calls = 0;
  progress->setCancellationHandler([&] { calls += 100; });
  progress->setCancellationHandler([&] { ++calls; });
  progress->cancel();
  EXPECT_EQ(calls, 1);
}

TEST(NSProgressTest, reportsChangesOfItselfAndOfChildren) {
  const auto parent = NSProgress::create(2);
  const auto child = NSProgress::create(2);
  parent->addChild(child, 2);
  std::vector<double> seen;
  parent->setChangeHandler([&](const NSProgress& progress) { seen.push_back(progress.fractionCompleted()); });
  child->setCompletedUnitCount(1);
  parent->setCompletedUnitCount(1);
  parent->setChangeHandler(nullptr);
  child->setCompletedUnitCount(2);
  EXPECT_THAT(seen, ElementsAre(0.5, 1));
}

}  // namespace
}  // namespace zelto
