#include <atomic>
#include <future>
#include <random>
#include <set>
#include <thread>

#include <gtest/gtest.h>

#include "framework/thumbnails/ThumbnailQueue.h"
#include "tests/foundation/TemporaryFolder.h"
#include "tests/hostapp/Pictures.h"
#include "tests/thumbnails/FakeThumbnailer.h"

namespace zelto::test {
namespace {

using Identifiers = FakeThumbnailer::Identifiers;
using Inodes = std::vector<Inode>;
using Interest = ThumbnailQueue::Interest;

class ThumbnailQueueTest : public testing::Test {
 protected:
  std::shared_ptr<ThumbnailQueue> make() {
    return ThumbnailQueue::make({extension, deadlines, cache,
                                 [this](Inode inode) {
                                   const std::lock_guard lock(mutex);
                                   stored.push_back(inode);
                                 }},
                                limits);
  }
  void start() {
    queue = make();
    queue->hostReady();
    settled();
  }
  void TearDown() override { end(); }
  // BLOCKS: until the queue is gone; its own thread may be the last to let go of it.
  void end() {
    const std::weak_ptr<ThumbnailQueue> left = queue;
    queue.reset();
    while (!left.expired()) std::this_thread::yield();
  }
  void ask(const std::string& asker, const Inodes& inodes, std::int64_t modified = 1) {
    std::vector<ThumbnailItem> items;
    for (const auto inode : inodes) items.push_back(item(inode, modified));
    queue->ask(asker, items, [this, asker] {
      const std::lock_guard lock(mutex);
      answered.push_back(asker);
    });
    settled();
  }
  void pictureOf(Inode inode, Interest interest) {
    queue->picture("helper", item(inode), interest, [this, inode](const std::optional<std::string>& png) {
      const std::lock_guard lock(mutex);
      const bool isPicture = png && png->starts_with("\x89PNG");
      answered.push_back(std::to_string(inode) + (isPicture ? " picture" : " none"));
    });
    settled();
  }
  void answer(Inode inode, bool withPicture = true) {
    ASSERT_TRUE(
        extension.answer("/" + std::to_string(inode), withPicture ? std::optional(image) : std::nullopt))
        << inode;
    settled();
  }
  void loseHost() {
    queue->hostLost();
    settled();
  }
  void hostBack() {
    queue->hostReady();
    settled();
  }
  // BLOCKS: until what was given to the queue so far is done.
  void settled() {
    std::promise<void> done;
    queue->ask("", {}, [&done] { done.set_value(); });
    done.get_future().wait();
  }
  // BLOCKS: until so many lists are answered.
  void awaitAnswered(std::size_t count) {
    for (auto now = whoWasAnswered().size(); now < count; now = whoWasAnswered().size())
      std::this_thread::yield();
  }
  std::vector<std::string> whoWasAnswered() const {
    const std::lock_guard lock(mutex);
    return answered;
  }

  const TemporaryFolder temporary;
  const ThumbnailCache cache{temporary.path("thumbnails")};
  const NSData image = NSData::copyOf(picture("png", 8, 8));
  Deadlines deadlines;
  FakeThumbnailer extension;
  ThumbnailQueue::Limits limits;
  mutable std::mutex mutex;
  std::vector<std::string> answered;
  Inodes stored;
  std::shared_ptr<ThumbnailQueue> queue;
};

TEST_F(ThumbnailQueueTest, EightAtATimeTheNewestFirst) {
  start();
  ask("a", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
  ask("b", {21, 22});
  EXPECT_EQ((Identifiers{"/1", "/2", "/3", "/4", "/5", "/6", "/7", "/8"}), extension.open());
  answer(3);
  EXPECT_EQ("/21", extension.open().back());
  answer(1, false);
  answer(21);
  EXPECT_EQ((Identifiers{"/2", "/4", "/5", "/6", "/7", "/8", "/22", "/9"}), extension.open());
  answer(22);
  EXPECT_EQ(std::vector<std::string>{"b"}, answered);
  for (const Inode inode : {10, 9, 8, 7, 6, 5, 4, 2}) answer(inode);
  EXPECT_EQ((std::vector<std::string>{"b", "a"}), answered);
  EXPECT_EQ((Inodes{3, 21, 22, 10, 9, 8, 7, 6, 5, 4, 2}), stored);
  EXPECT_TRUE(cache.isCurrent(item(9).path, 1));
  EXPECT_FALSE(cache.isCurrent(item(1).path, 1));
}

TEST_F(ThumbnailQueueTest, OneRequestServesAllWhoAsk) {
  start();
  ask("a", {1, 2});
  ask("b", {2, 1});
  answer(1);
  EXPECT_TRUE(answered.empty());
  answer(2);
  EXPECT_EQ(2U, answered.size());
  EXPECT_EQ((Identifiers{"/1", "/2"}), extension.asked());
  EXPECT_EQ((Inodes{1, 2}), stored);
  // Both are there now; the second in another state.
  ask("c", {1});
  EXPECT_EQ("c", answered.back());
  ask("d", {2}, 5);
  EXPECT_EQ((Identifiers{"/1", "/2", "/2"}), extension.asked());
}

TEST_F(ThumbnailQueueTest, APictureIsHandedOverToWhoWaitsForIt) {
  start();
  pictureOf(1, Interest::somebodys);  // nobody has asked for it
  EXPECT_EQ((std::vector<std::string>{"1 none"}), answered);
  EXPECT_TRUE(extension.asked().empty());
  ask("browser", {1, 2});
  pictureOf(1, Interest::somebodys);
  pictureOf(3, Interest::own);
  queue->askerGone("browser");  // what is on its way comes all the same
  EXPECT_EQ((Identifiers{"/1", "/2", "/3"}), extension.asked());
  answer(1);
  answer(3, false);
  pictureOf(1, Interest::somebodys);
  EXPECT_EQ((std::vector<std::string>{"1 none", "browser", "1 picture", "3 none", "1 picture"}), answered);
}

TEST_F(ThumbnailQueueTest, WhatIsThereNeedsNoHost) {
  ASSERT_FALSE(cache.store(item(1).path, 1, image));
  queue = make();
  ask("a", {1});
  ask("b", {1, 2});
  EXPECT_EQ(std::vector<std::string>{"a"}, answered);
  EXPECT_TRUE(extension.asked().empty());
  hostBack();
  EXPECT_EQ(Identifiers{"/2"}, extension.open());
}

TEST_F(ThumbnailQueueTest, WhatOnlySomebodyGoneWantedIsNotAskedFor) {
  limits.onTheirWay = 1;
  start();
  ask("gone", {1, 2, 3});
  ask("a", {4, 2});
  queue->askerGone("gone");
  settled();
  EXPECT_EQ(std::vector<std::string>{"gone"}, answered);
  // On its way already, and not in vain: the picture is kept.
  answer(1);
  answer(4);
  answer(2);
  EXPECT_EQ((Identifiers{"/1", "/4", "/2"}), extension.asked());
  EXPECT_EQ((Inodes{1, 4, 2}), stored);
  EXPECT_EQ((std::vector<std::string>{"gone", "a"}), answered);
}

TEST_F(ThumbnailQueueTest, WhatALostHostHadIsAskedOfTheNext) {
  limits.onTheirWay = 3;
  start();
  ask("gone", {9});
  ask("a", {1, 2, 3, 4});
  queue->askerGone("gone");
  answer(1);
  loseHost();
  const auto late = extension.drop();
  ask("b", {5});
  EXPECT_EQ(4U, extension.asked().size());
  // A late picture is as good as any, late news that there is none is not.
  for (const auto& [identifier, handler] : late)
    handler(identifier, identifier == "/2" ? std::optional(image) : std::nullopt, std::nullopt);
  settled();
  hostBack();
  EXPECT_EQ((Identifiers{"/5", "/3", "/4"}), extension.open());
  for (const Inode inode : {5, 3, 4}) answer(inode);
  EXPECT_EQ((std::vector<std::string>{"gone", "b", "a"}), answered);
  EXPECT_EQ((Inodes{1, 2, 5, 3, 4}), stored);
}

TEST_F(ThumbnailQueueTest, ASilentHostIsGivenUpThenTriedAndTakenUpAgain) {
  limits.patience = std::chrono::milliseconds(30);
  start();
  // Eight are given up; one more is tried, and that gives up what is left.
  ask("a", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
  awaitAnswered(1);
  EXPECT_EQ(9U, extension.asked().size());
  const auto late = extension.drop();
  ask("b", {21, 22});
  extension.awaitAsked(10);
  settled();
  EXPECT_EQ("/21", extension.asked().back());
  awaitAnswered(2);
  // A late picture is kept, and tells that the host answers again.
  late.front().second(late.front().first, image, std::nullopt);
  settled();
  EXPECT_EQ(Inodes{1}, stored);
  ask("c", {31, 32, 33});
  EXPECT_EQ((Identifiers{"/21", "/31", "/32", "/33"}), extension.open());
  // One answer of a request is not all of them.
  extension.answer("/31", std::nullopt);
  awaitAnswered(3);
}

TEST_F(ThumbnailQueueTest, AFailedRequestEndsAndALongQueueIsBounded) {
  limits.waiting = 3;
  limits.onTheirWay = 2;
  start();
  ask("a", {1, 2, 3});
  ask("b", {4, 5, 6});
  EXPECT_EQ(std::vector<std::string>{}, answered);
  extension.finish(0, errorWithPOSIXCode(EIO, "no thumbnails today"));
  settled();
  EXPECT_EQ(std::vector<std::string>{"a"}, answered);
  // Without an error the end says nothing: items may answer after it.
  extension.finish(1, std::nullopt);
  settled();
  EXPECT_EQ(4U, extension.open().size());
  answer(4);
  answer(5);
  answer(6);
  EXPECT_EQ((std::vector<std::string>{"a", "b"}), answered);
}

TEST_F(ThumbnailQueueTest, WhatTakesTheIdentifierOfAnotherIsAnsweredWithIt) {
  start();
  auto first = item(1);
  auto second = item(2);
  second.identifier = first.identifier;
  queue->ask("a", {first, second}, [this] { answered.push_back("a"); });
  settled();
  EXPECT_EQ(Identifiers{"/1"}, extension.open());
  answer(1);
  EXPECT_EQ(std::vector<std::string>{"a"}, answered);
}

TEST_F(ThumbnailQueueTest, GoneFilesLoseTheirPicturesAndBadOnesGetNone) {
  start();
  ask("a", {1, 2});
  extension.answer("/1", NSData::copyOf("no picture"));
  answer(2);
  EXPECT_EQ(1U, answered.size());
  EXPECT_EQ(Inodes{2}, stored);
  queue->remove({item(2).path});
  settled();
  EXPECT_FALSE(cache.isCurrent(item(2).path, 1));
}

TEST_F(ThumbnailQueueTest, AnAnswerMayComeAfterItsEnd) {
  start();
  ask("a", {1});
  end();
  const auto late = extension.drop();
  late.front().second("/1", image, std::nullopt);
  extension.finish(0, errorWithPOSIXCode(EIO, "late"));
  EXPECT_TRUE(answered.empty());
}

// Whatever comes in whatever order: never more than eight at one host, and everybody is answered once.
TEST_F(ThumbnailQueueTest, AnyOrderOfEventsKeepsTheLimitAndAnswersAll) {
  start();
  std::mt19937 random(11);
  std::multiset<std::string> asked;
  for (int step = 0; step < 3'000; ++step) {
    const auto open = extension.open();
    const auto chosen = open.empty() ? "" : open[random() % open.size()];
    switch (random() % 12) {
      case 0: {
        Inodes inodes;
        for (auto count = random() % 12; count > 0; --count) inodes.push_back(1 + random() % 60);
        const auto name = std::string(1, static_cast<char>('a' + random() % 5));
        asked.insert(name);
        ask(name, inodes, step / 40);
        break;
      }
      case 1:
        queue->askerGone(std::string(1, static_cast<char>('a' + random() % 5)));
        break;
      case 2:
        if (random() % 8 != 0) break;
        loseHost();
        extension.drop();
        hostBack();
        break;
      default:
        extension.answer(chosen, random() % 2 == 0 ? std::optional(image) : std::nullopt);
        settled();
    }
  }
  while (!extension.open().empty()) {
    extension.answer(extension.open().front(), std::nullopt);
    settled();
  }
  EXPECT_EQ(8U, extension.mostOpen());
  EXPECT_EQ(asked, std::multiset<std::string>(answered.begin(), answered.end()));
}

TEST_F(ThumbnailQueueTest, ManyThreadsMayAskAndAnswerAtOnce) {
  start();
  std::atomic<int> open = 0;
  std::atomic<bool> asking = true;
  {
    const std::jthread host([&] {
      for (int turn = 0; asking || open > 0; ++turn) {
        for (const auto& identifier : extension.open()) extension.answer(identifier, image);
        settled();
        if (turn % 5 != 0) continue;
        loseHost();
        extension.drop();
        hostBack();
      }
    });
    std::vector<std::jthread> askers;
    for (int asker = 0; asker < 3; ++asker)
      askers.emplace_back([&, asker] {
        for (Inode i = 0; i < 40; ++i) {
          ++open;
          queue->ask(std::to_string(asker), {item(i), item(i + 7), item(i * 3)}, [&open] { --open; });
          if (i % 9 == 0) queue->askerGone(std::to_string(asker));
        }
      });
    askers.clear();
    asking = false;
  }
  EXPECT_EQ(0, open);
  EXPECT_TRUE(cache.isCurrent(item(46).path, 1));
}

}  // namespace
}  // namespace zelto::test
