#include <chrono>

#include <gtest/gtest.h>

#include "platform/bus/SessionBus.h"
#include "tests/bus/PrivateBus.h"
#include "tests/bus/Recorder.h"

namespace zelto {
namespace {

constexpr const char* kPath = "/it/pellam/Zelto/Test";
constexpr const char* kInterface = "it.pellam.Zelto.Test1";

class BusSignalTest : public testing::Test {
 protected:
  void SetUp() override {
    private_.start();
    sender_ = *SessionBus::connect();
    listener_ = *SessionBus::connect();
  }

  std::shared_ptr<void> record(test::Recorder<std::string>& into, const std::string& name) {
    return listener_->matchSignal(kPath, kInterface, name,
                                  [&into](const std::string&, BusArguments arguments) {
                                    into.add(std::get<std::string>(arguments.at(0)));
                                  });
  }
  void send(const std::string& name, const std::string& text) {
    sender_->emitSignal(kPath, kInterface, name, "s", {text});
  }

  test::PrivateBus private_;
  std::shared_ptr<SessionBus> sender_;
  std::shared_ptr<SessionBus> listener_;
};

using Texts = std::vector<std::string>;

TEST_F(BusSignalTest, ReachesTheMatchingHandlersInOrder) {
  test::Recorder<std::string> one;
  test::Recorder<std::string> any;
  const auto first = record(one, "One");
  const auto second = record(any, "");
  EXPECT_TRUE(listener_->matchSignal("no path", "", "", [](const std::string&, BusArguments) { FAIL(); }));
  send("One", "1");
  send("Two", "2");
  send("One", "3");
  EXPECT_EQ((Texts{"1", "2", "3"}), any.waitFor(3));
  EXPECT_EQ((Texts{"1", "3"}), one.waitFor(2));
}

TEST_F(BusSignalTest, StopsWhenTheHandleIsDropped) {
  test::Recorder<std::string> dropped;
  test::Recorder<std::string> kept;
  auto handle = record(dropped, "One");
  const auto other = record(kept, "One");
  send("One", "1");
  EXPECT_EQ((Texts{"1"}), dropped.waitFor(1));
  handle.reset();
  send("One", "2");
  EXPECT_EQ((Texts{"1", "2"}), kept.waitFor(2));
  EXPECT_EQ((Texts{"1"}), dropped.waitFor(1));
}

TEST_F(BusSignalTest, IllFormedSignalsAreNotSent) {
  test::Recorder<std::string> received;
  const auto handle = record(received, "");
  sender_->emitSignal(kPath, kInterface, "One", "u", {std::string("x")});
  sender_->emitSignal("no path", kInterface, "One", "s", {std::string("x")});
  send("One", "\xff");
  send("One", "sound");
  EXPECT_EQ((Texts{"sound"}), received.waitFor(1));
}

TEST_F(BusSignalTest, FollowsANameThroughItsOwners) {
  test::Recorder<bool> states;
  const auto watch = listener_->watchName(test::kTestName, [&states](bool present) { states.add(present); });
  EXPECT_EQ((std::vector{false}), states.waitFor(1));
  ASSERT_FALSE(sender_->requestName(test::kTestName));
  EXPECT_EQ((std::vector{false, true}), states.waitFor(2));
  sender_.reset();
  EXPECT_EQ((std::vector{false, true, false}), states.waitFor(3));
}

TEST_F(BusSignalTest, KnowsTheStateAtTheStartAndUniqueNames) {
  ASSERT_FALSE(sender_->requestName(test::kTestName));
  test::Recorder<bool> known;
  const auto watch = listener_->watchName(test::kTestName, [&known](bool present) { known.add(present); });
  EXPECT_EQ((std::vector{true}), known.waitFor(1));

  test::Recorder<std::string> senders;
  const auto handle = listener_->matchSignal(
      kPath, kInterface, "One", [&senders](const std::string& sender, BusArguments) { senders.add(sender); });
  send("One", "x");
  const auto unique = senders.waitFor(1);
  ASSERT_EQ(1U, unique.size());
  test::Recorder<bool> process;
  const auto other = listener_->watchName(unique[0], [&process](bool present) { process.add(present); });
  EXPECT_EQ((std::vector{true}), process.waitFor(1));
  sender_.reset();
  EXPECT_EQ((std::vector{true, false}), process.waitFor(2));

  test::Recorder<bool> invalid;
  const auto none = listener_->watchName("no name", [&invalid](bool present) { invalid.add(present); });
  EXPECT_EQ((std::vector{false}), invalid.waitFor(1));
}

TEST_F(BusSignalTest, TheLossOfTheBusIsTheLossOfEveryName) {
  ASSERT_FALSE(sender_->requestName(test::kTestName));
  test::Recorder<bool> states;
  const auto watch = listener_->watchName(test::kTestName, [&states](bool present) { states.add(present); });
  EXPECT_EQ((std::vector{true}), states.waitFor(1));
  private_.stop();
  EXPECT_EQ((std::vector{true, false}), states.waitFor(2));
  // Afterwards nothing waits for the bus that is gone.
  test::Recorder<bool> later;
  const auto late = listener_->watchName(test::kTestName, [&later](bool present) { later.add(present); });
  EXPECT_EQ((std::vector{false}), later.waitFor(1));
  test::Recorder<std::string> none;
  const auto begun = std::chrono::steady_clock::now();
  record(none, "One");
  EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(5));
}

}  // namespace
}  // namespace zelto
