#include <cmath>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/foundation/NSDateFormatter.h"

namespace zelto {
namespace {

class NSDateFormatterTest : public testing::Test {
 protected:
  NSDateFormatterTest() {
    ::setenv("LC_ALL", "C.UTF-8", 1);
    ::setenv("TZ", "Europe/Berlin", 1);
  }
};

TEST_F(NSDateFormatterTest, formatsByUnicodePatternInTheProcesssTimeZone) {
  const NSDate date = NSDate::since1970(1709644029.123);
  EXPECT_EQ(NSDateFormatter("yyyy-MM-dd HH:mm:ss:SSSZZZ").stringFromDate(date),
            "2024-03-05 14:07:09:123+0100");
  EXPECT_EQ(NSDateFormatter("yyyyMMddHHmmssSSS").stringFromDate(date), "20240305140709123");
  EXPECT_EQ(NSDateFormatter("dd MMM yyyy HH:mm:ss").stringFromDate(date), "05 Mar 2024 14:07:09");
  EXPECT_EQ(NSDateFormatter("ZZZ").stringFromDate(NSDate::since1970(1720000000)), "+0200") << "summer time";
}

TEST_F(NSDateFormatterTest, showsEveryMillisecondAsGiven) {
  const NSDateFormatter formatter("SSS");
  for (int i = 0; i < 1000; ++i) {
    const std::string text = formatter.stringFromDate(NSDate::fromTimespec({1709644029, i * 1'000'000L}));
    ASSERT_EQ(std::stoi(text), i);
  }
}

TEST_F(NSDateFormatterTest, survivesBadPatternsAndDates) {
  const NSDateFormatter formatter("yyyy-MM-dd");
  for (const double seconds : {1e300, -1e300, static_cast<double>(NAN), static_cast<double>(INFINITY)}) {
    EXPECT_FALSE(formatter.stringFromDate(NSDate::sinceReferenceDate(seconds)).empty());
  }
  for (const char* pattern : {"", "'", "bbbbbbbbbbbb", "\xff", "nnn"}) {
    (void)NSDateFormatter(pattern).stringFromDate(NSDate());
  }
}

TEST_F(NSDateFormatterTest, isSharedByThreads) {
  const NSDateFormatter formatter("yyyy-MM-dd HH:mm:ss");
  std::vector<std::jthread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&formatter, t] {
      const NSDate date = NSDate::since1970(1709644029 + t);
      const std::string expected =
          "2024-03-05 14:07:" + std::string(t == 0 ? "09" : "1" + std::to_string(t - 1));
      for (int i = 0; i < 2000; ++i) ASSERT_EQ(formatter.stringFromDate(date), expected);
    });
  }
}

}  // namespace
}  // namespace zelto
