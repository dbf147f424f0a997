#include <array>
#include <atomic>
#include <future>
#include <memory>
#include <numeric>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <pthread.h>

#include "platform/foundation/DispatchQueue.h"
#include "platform/foundation/TaskGroup.h"

namespace zelto {
namespace {

TEST(DispatchQueueTest, runsTasksInOrderOnOneNamedThread) {
  DispatchQueue queue("it.example.Product.thumb-process");
  std::vector<int> seen;
  std::vector<std::thread::id> threads;
  for (int i = 0; i < 1000; ++i) {
    queue.async([&, i] {
      seen.push_back(i);
      threads.push_back(std::this_thread::get_id());
    });
  }
  std::array<char, 16> name{};
  queue.async([&] { ::pthread_getname_np(::pthread_self(), name.data(), name.size()); });
  queue.drain();
  std::vector<int> expected(1000);
  std::iota(expected.begin(), expected.end(), 0);
  EXPECT_EQ(seen, expected);
  EXPECT_EQ(std::count(threads.begin(), threads.end(), threads.front()), 1000);
  EXPECT_STREQ(name.data(), "t.thumb-process");
}

TEST(DispatchQueueTest, keepsTheOrderOfEachCaller) {
  DispatchQueue queue("q");
  std::array<std::vector<int>, 4> seen;
  {
    std::vector<std::jthread> callers;
    for (auto& mine : seen) {
      callers.emplace_back([&queue, &mine] {
        for (int i = 0; i < 500; ++i) queue.async([&mine, i] { mine.push_back(i); });
      });
    }
  }
  queue.drain();
  for (const auto& mine : seen) {
    EXPECT_EQ(mine.size(), 500U);
    EXPECT_TRUE(std::is_sorted(mine.begin(), mine.end()));
  }
}

TEST(DispatchQueueTest, drainWithoutTasksReturns) { DispatchQueue("q").drain(); }

TEST(DispatchQueueTest, runsWhatIsQueuedBeforeItEnds) {
  std::atomic<int> count = 0;
  {
    DispatchQueue queue("q");
    for (int i = 0; i < 100; ++i) queue.async([&] { ++count; });
  }
  EXPECT_EQ(count, 100);
}

TEST(DispatchQueueTest, maybeDestroyedByItsOwnTask) {
  auto queue = std::make_shared<DispatchQueue>("q");
  std::promise<void> ready;
  std::promise<void> finished;
  queue->async([held = queue, released = ready.get_future()]() mutable {
    released.wait();
    held.reset();
  });
  queue->async([&finished] { finished.set_value(); });
  queue.reset();
  ready.set_value();
  finished.get_future().wait();
}

TEST(DispatchQueueTest, destroysATaskBeforeItRunsTheNext) {
  DispatchQueue queue("q");
  auto held = std::make_shared<int>(1);
  const std::weak_ptr<int> watch = held;
  queue.async([held = std::move(held)] {});
  bool gone = false;
  queue.async([&] { gone = watch.expired(); });
  queue.drain();
  EXPECT_TRUE(gone);
}

TEST(DispatchQueueTest, theMainQueueRunsOnTheThreadThatServesIt) {
  auto& main = DispatchQueue::mainQueue();
  std::vector<int> seen;
  std::thread::id served;
  main.async([&] { seen.push_back(1); });
  std::jthread other([&] {
    main.async([&] {
      seen.push_back(2);
      served = std::this_thread::get_id();
      main.async([&] { seen.push_back(4); });  // after the leave below
    });
    DispatchQueue::leaveMainQueue();
  });
  other.join();
  EXPECT_TRUE(seen.empty());
  DispatchQueue::serveMainQueue();
  EXPECT_EQ(served, std::this_thread::get_id());
  EXPECT_EQ(seen, (std::vector{1, 2}));
  DispatchQueue::leaveMainQueue();
  DispatchQueue::serveMainQueue();
  EXPECT_EQ(seen, (std::vector{1, 2, 4}));
}

TEST(TaskGroupTest, notifiesWhenTheLastHasLeft) {
  DispatchQueue queue("q");
  TaskGroup group;
  std::vector<int> seen;
  group.notify(queue, [&] { seen.push_back(1); });
  queue.drain();
  EXPECT_EQ(seen, (std::vector{1}));
  group.enter();
  group.enter();
  group.notify(queue, [&] { seen.push_back(2); });
  group.leave();
  queue.drain();
  EXPECT_EQ(seen, (std::vector{1}));
  group.notify(queue, [&] { seen.push_back(3); });
  group.leave();
  queue.drain();
  EXPECT_EQ(seen, (std::vector{1, 2, 3}));
}

TEST(TaskGroupTest, dropsWhatWaitsWhenItGoes) {
  DispatchQueue queue("q");
  auto held = std::make_shared<int>(1);
  const std::weak_ptr<int> watch = held;
  bool ran = false;
  {
    TaskGroup group;
    group.enter();
    group.notify(queue, [&ran, held = std::move(held)] { ran = true; });
  }
  queue.drain();
  EXPECT_TRUE(watch.expired());
  EXPECT_FALSE(ran);
}

}  // namespace
}  // namespace zelto
