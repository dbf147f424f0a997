#include <future>

#include "host/ZeltoFileProviderNotifier.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "platform/messaging/NSDistributedNotificationCenter.h"
#include "tests/bus/PrivateBus.h"
#include "tests/extension/Fixture.h"

namespace zelto::test {
namespace {

using testing::ElementsAre;

constexpr auto kPatience = std::chrono::seconds(20);

class NotifierTest : public ExtensionFixture {
 protected:
  NotifierTest() {
    bus_.start();
    observer_ = NSDistributedNotificationCenter::defaultCenter().addObserver(
        "it.pellam.Zelto.FP.Notification",
        [this](const std::string& object) { received_.set_value(object); });
  }

  std::string received() {
    auto object = received_.get_future();
    EXPECT_EQ(std::future_status::ready, object.wait_for(kPatience));
    return object.get();
  }

 private:
  PrivateBus bus_;
  std::promise<std::string> received_;
  std::shared_ptr<void> observer_;
};

TEST_F(NotifierTest, StartIsHeardOnTheBusAsOneMember) {
  client().start();
  const auto event = NSJSONSerialization::valueWithString(received());
  ASSERT_TRUE(event && event->asDictionary());
  ASSERT_EQ(1U, event->asDictionary()->size());
  EXPECT_THAT(*event->asDictionary()->find("providerListening")->asString(),
              testing::MatchesRegex("[0-9]{2} [A-Z][a-z]{2} [0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}"));
}

TEST_F(NotifierTest, ExtraIsTheSecondMember) {
  EXPECT_TRUE(ZeltoFileProviderNotifier::instance().broadcastEventName("name", "value", 5));
  EXPECT_EQ(R"({"name":"value","extra":5})", received());
  EXPECT_THAT(host().messages(), ElementsAre("FP[SendEvent] Broadcasting 'name=value' (extra=5)"));
}

TEST_F(NotifierTest, WhatJsonCannotExpressIsNotPosted) {
  auto& notifier = ZeltoFileProviderNotifier::instance();
  EXPECT_FALSE(notifier.broadcastEventName("name", NSDate::sinceReferenceDate(0), std::nullopt));
  EXPECT_THAT(host().linesWith("FP[SendEvent]"),
              ElementsAre("DEBUG FP[SendEvent] Broadcasting 'name=2001-01-01 00:00:00 +0000'",
                          "WARN FP[SendEvent] Failed to serialise 'name=2001-01-01 00:00:00 +0000'"));
  // The next one is the first that anybody hears.
  EXPECT_TRUE(notifier.broadcastEventName("next", "value", std::nullopt));
  EXPECT_EQ(R"({"next":"value"})", received());
}

}  // namespace
}  // namespace zelto::test
