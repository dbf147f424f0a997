#include <gtest/gtest.h>

#include "platform/bus/SessionBus.h"
#include "platform/messaging/NSDistributedNotificationCenter.h"
#include "tests/bus/PrivateBus.h"
#include "tests/messaging/Mailbox.h"

namespace zelto::test {

constexpr const char* kPath = "/it/pellam/Zelto/DistributedNotificationCenter";
constexpr const char* kInterface = "it.pellam.Zelto.DistributedNotificationCenter";

TEST(NotificationCenter, WithoutABusNothingHappensUntilThereIsOne) {
  PrivateBus bus;
  auto& center = NSDistributedNotificationCenter::defaultCenter();
  center.postNotification("name", "lost");
  EXPECT_TRUE(center.addObserver("name", [](const std::string&) { FAIL(); }));
  ASSERT_NO_FATAL_FAILURE(bus.start());
  Mailbox<std::string> heard;
  auto observer = center.addObserver("name", [&heard](const std::string& object) { heard.put(object); });
  center.postNotification("name", "{\"a\":1}");
  EXPECT_EQ("{\"a\":1}", heard.take());
}

TEST(NotificationCenter, ObserversHearTheirNameOnlyAndUntilTheyAreDropped) {
  PrivateBus bus;
  ASSERT_NO_FATAL_FAILURE(bus.start());
  auto& center = NSDistributedNotificationCenter::defaultCenter();
  Mailbox<std::string> first;
  Mailbox<std::string> second;
  auto firstObserver =
      center.addObserver("first", [&first](const std::string& object) { first.put(object); });
  auto secondObserver =
      center.addObserver("second", [&second](const std::string& object) { second.put(object); });
  center.postNotification("first", "1");
  center.postNotification("second", "2");
  EXPECT_EQ("2", second.take());
  EXPECT_EQ("1", first.take());
  firstObserver.reset();
  center.postNotification("first", "3");
  center.postNotification("second", "4");
  EXPECT_EQ("4", second.take());
  EXPECT_TRUE(first.empty());
}

TEST(NotificationCenter, SpeaksThePublishedSignal) {
  PrivateBus bus;
  ASSERT_NO_FATAL_FAILURE(bus.start());
  auto& center = NSDistributedNotificationCenter::defaultCenter();
  auto other = SessionBus::connect().value();
  Mailbox<BusArguments> seen;
  auto match =
      other->matchSignal(kPath, kInterface, "Notification",
                         [&seen](const std::string&, BusArguments arguments) { seen.put(arguments); });
  Mailbox<std::string> heard;
  auto observer = center.addObserver("name", [&heard](const std::string& object) { heard.put(object); });
  center.postNotification("name", "object");
  auto arguments = seen.take();
  ASSERT_EQ(2U, arguments.size());
  EXPECT_EQ("name", std::get<std::string>(arguments.at(0)));
  EXPECT_EQ("object", std::get<std::string>(arguments.at(1)));
  EXPECT_EQ("object", heard.take());

  // Anybody may send anything under this name.
  other->emitSignal(kPath, kInterface, "Notification", "i", {std::int32_t{1}});
  other->emitSignal(kPath, kInterface, "Notification", "s", {"name"});
  other->emitSignal(kPath, kInterface, "Notification", "ss", {"name", "from elsewhere"});
  EXPECT_EQ("from elsewhere", heard.take());
}

}  // namespace zelto::test
