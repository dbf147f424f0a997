// What several threads may do at once: each of them must see whole results, and the thread sanitizer nothing.

#include <latch>
#include <thread>

#include "platform/foundation/NSCharacterSet.h"
#include "support/DateUtils.h"
#include "support/StringUtils.h"
#include "support/ZeltoCryptUtils.h"
#include "support/ZeltoHostnameUtils.h"
#include "support/ZeltoLocalise.h"
#include "tests/extension/Fixture.h"

namespace zelto::test {
namespace {

class SupportThreadsTest : public ExtensionFixture {
 protected:
  // Runs the function in two threads that begin together, each with its own number.
  template <typename Function>
  static void inTwoThreads(Function function) {
    std::latch start(2);
    std::vector<std::jthread> threads;
    for (int number = 0; number < 2; ++number) {
      threads.emplace_back([&start, &function, number] {
        start.arrive_and_wait();
        function(number);
      });
    }
  }
};

// First uses included: the formatters, the tables and the sets are made while both ask for them.
TEST_F(SupportThreadsTest, DatesAreFormattedWhole) {
  ::setenv("TZ", "Europe/Berlin", 1);
  inTwoThreads([](int number) {
    const auto date = NSDate::since1970(1709644029.123 + number);
    const auto second = number == 0 ? std::string("09") : std::string("10");
    for (int i = 0; i < 500; ++i) {
      ASSERT_EQ("2024-03-05 14:07:" + second + ":123+0100", stringForLogDate(date));
      ASSERT_EQ("202403051407" + second + "123", timestampForDate(date));
      ASSERT_EQ("202403051407" + second, timestampAcurateToSecondsForDate(date));
      ASSERT_EQ("05 Mar 2024 14:07:" + second, formattedDateTime(date));
      ASSERT_TRUE(timeAgoSinceDate(date, 7).contains(":07:" + second));
    }
  });
}

TEST_F(SupportThreadsTest, TextsAreLocalisedWhole) {
  inTwoThreads([](int number) {
    const auto name = "file" + std::to_string(number);
    for (int i = 0; i < 300; ++i) {
      ASSERT_EQ(name + " and 3 more", ZeltoLocalise::item(name, 3));
      ASSERT_EQ("a\n\nAre you sure you want to continue?",
                ZeltoLocalise::applyOptionsToString("a", LocaliseOptionAreYouSure));
    }
  });
}

TEST_F(SupportThreadsTest, HelpersWithoutStateShareTheirConstants) {
  inTwoThreads([](int number) {
    const auto host = "host" + std::to_string(number);
    for (int i = 0; i < 300; ++i) {
      ASSERT_EQ("anna@" + host + ":8443",
                ZeltoCryptUtils::accountKeyForUserId("Anna", " " + host + ":8443/x"));
      ASSERT_EQ("900150983cd24fb0d6963f7d28e17f72", u_MD5("abc"));
      ASSERT_TRUE(u_hasHTTPSPrefix("https://" + host));
      ASSERT_EQ("Host", u_captilisiedString("host"));
    }
  });
}

}  // namespace
}  // namespace zelto::test
