#include <cmath>

#include "platform/foundation/NSRelativeDateTimeFormatter.h"
#include "support/DateUtils.h"
#include "tests/extension/Fixture.h"

namespace zelto::test {
namespace {

using testing::MatchesRegex;

// 2024-03-05 13:07:09.123 UTC.
const NSDate kDate = NSDate::since1970(1709644029.123);

class DateUtilsTest : public ExtensionFixture {
 protected:
  // Before the first use, as languages and zones are taken then.
  static void setPlace(const char* zone, const char* locale = "C.UTF-8") {
    ::setenv("TZ", zone, 1);
    ::setenv("LC_ALL", locale, 1);
  }
};

struct Zone {
  const char* name;
  const char* log;
  const char* timestamp;
  const char* event;
};

class ZoneTest : public DateUtilsTest, public testing::WithParamInterface<Zone> {};

TEST_P(ZoneTest, StampsAreInTheProcesssZone) {
  const auto& zone = GetParam();
  setPlace(zone.name);
  EXPECT_EQ(zone.log, stringForLogDate(kDate));
  EXPECT_EQ(zone.timestamp, timestampForDate(kDate));
  EXPECT_EQ(std::string(zone.timestamp).substr(0, 14), timestampAcurateToSecondsForDate(kDate));
  EXPECT_EQ(zone.event, formattedDateTime(kDate));
}

INSTANTIATE_TEST_SUITE_P(Zones, ZoneTest,
                         testing::Values(Zone{"Europe/Berlin", "2024-03-05 14:07:09:123+0100",
                                              "20240305140709123", "05 Mar 2024 14:07:09"},
                                         Zone{"America/St_Johns", "2024-03-05 09:37:09:123-0330",
                                              "20240305093709123", "05 Mar 2024 09:37:09"},
                                         Zone{"Pacific/Auckland", "2024-03-06 02:07:09:123+1300",
                                              "20240306020709123", "06 Mar 2024 02:07:09"}));

// At 01:00 UTC on 2024-03-31 clocks in Berlin go from two to three, on 2024-10-27 from three back to two.
TEST_F(DateUtilsTest, StampsFollowTheChangesToSummerTimeAndBack) {
  setPlace("Europe/Berlin");
  EXPECT_EQ("2024-03-31 01:59:59:999+0100", stringForLogDate(NSDate::since1970(1711846799.999)));
  EXPECT_EQ("2024-03-31 03:00:00:000+0200", stringForLogDate(NSDate::since1970(1711846800)));
  EXPECT_EQ("20241027025959000", timestampForDate(NSDate::since1970(1729990799)));
  EXPECT_EQ("20241027020000000", timestampForDate(NSDate::since1970(1729990800)));
  EXPECT_EQ("2024-10-27 02:00:00:000+0100", stringForLogDate(NSDate::since1970(1729990800)));
}

TEST_F(DateUtilsTest, EventsNameTheMonthInTheUsersLanguage) {
  setPlace("UTC", "fr_FR.UTF-8");
  EXPECT_EQ("05 févr. 2025 00:00:00", formattedDateTime(NSDate::since1970(1738713600)));
}

TEST_F(DateUtilsTest, AbsentAndImpossibleDatesDoNoHarm) {
  setPlace("UTC");
  using Format = std::optional<std::string> (*)(const std::optional<NSDate>&);
  for (const Format format : std::initializer_list<Format>{
           stringForLogDate, timestampForDate, timestampAcurateToSecondsForDate, formattedDateTime}) {
    EXPECT_FALSE(format(std::nullopt));
    EXPECT_TRUE(format(kDate));
    for (const double seconds : {std::nan(""), HUGE_VAL, -HUGE_VAL, 1e18, -1e18}) {
      EXPECT_FALSE(format(NSDate::sinceReferenceDate(seconds)).value_or("").empty()) << seconds;
    }
  }
}

TEST_F(DateUtilsTest, EqualDatesAreNeitherEarlierNorLater) {
  const auto later = NSDate::since1970(1709644030);
  EXPECT_TRUE(u_earlierThanDate(kDate, later) && u_LaterThanDate(later, kDate));
  EXPECT_FALSE(u_LaterThanDate(kDate, later) || u_earlierThanDate(later, kDate));
  EXPECT_FALSE(u_earlierThanDate(kDate, kDate) || u_LaterThanDate(kDate, kDate));
}

TEST_F(DateUtilsTest, DaysAreTheCalendarsWhateverTheirLength) {
  setPlace("Europe/Berlin");
  // From noon to noon across the short day of 23 hours, and across the long one.
  EXPECT_EQ(1, daysFrom(NSDate::since1970(1711879200), NSDate::since1970(1711796400)));
  EXPECT_EQ(0, daysFrom(NSDate::since1970(1711879199), NSDate::since1970(1711796400)));
  EXPECT_EQ(1, daysFrom(NSDate::since1970(1730026800), NSDate::since1970(1729936800)));
  EXPECT_EQ(0, daysFrom(NSDate::since1970(1730026799), NSDate::since1970(1729936800)));
  EXPECT_EQ(-1, daysFrom(NSDate::since1970(1711796400), NSDate::since1970(1711879200)));
  EXPECT_EQ(366, daysFrom(NSDate::since1970(1735689600), NSDate::since1970(1704067200)));
  EXPECT_LT(1'000'000'000'000, daysFrom(NSDate::since1970(1e17), NSDate::since1970(0)));
}

NSDate secondsAgo(double seconds) {
  return NSDate::since1970(NSDate::now().timeIntervalSince1970() - seconds);
}

constexpr double kDay = 86400;

TEST_F(DateUtilsTest, RelativePhrasesNameTheLargestWholeUnit) {
  setPlace("UTC", "en_US.UTF-8");
  const std::pair<double, const char*> phrases[] = {{0.9, "now"},
                                                    {40, "40 seconds ago"},
                                                    {61, "1 minute ago"},
                                                    {7205, "2 hours ago"},
                                                    {1.9 * kDay, "1 day ago"},
                                                    {6.9 * kDay, "6 days ago"},
                                                    {7 * kDay, "1 week ago"},
                                                    {24 * kDay, "3 weeks ago"},
                                                    {64 * kDay, "2 months ago"},
                                                    {3.5 * 365 * kDay, "3 years ago"},
                                                    {-1, "in 1 second"},
                                                    {-7205, "in 2 hours"}};
  for (const auto& [seconds, phrase] : phrases) {
    const auto date = NSDate::since1970(kDate.timeIntervalSince1970() - seconds);
    EXPECT_EQ(phrase, localizedStringForDate(date, kDate));
  }
  EXPECT_EQ("2 hours ago", timeAgoSinceDate(secondsAgo(7205)));
}

TEST_F(DateUtilsTest, DatesLongAgoAreGivenThemselves) {
  setPlace("UTC", "en_GB.UTF-8");
  EXPECT_EQ("1 week ago", timeAgoSinceDate(secondsAgo(7 * kDay + 5), 7));
  const auto old = timeAgoSinceDate(secondsAgo(8 * kDay + 5), 7);
  EXPECT_THAT(old, MatchesRegex("[0-9]+ [A-Z][a-z]+ 20[0-9][0-9], [0-9][0-9]:[0-9][0-9]:[0-9][0-9]"));
  EXPECT_EQ("5 Mar 2024, 13:07:09", timeAgoSinceDate(kDate, 7));
  EXPECT_EQ("5 Mar 2024, 13:07:09", timeAgoSinceDate(kDate, -1));
  EXPECT_THAT(timeAgoSinceDate(secondsAgo(-30 * kDay), 7), MatchesRegex("in [14] (month|weeks)"));
  EXPECT_EQ("Unknown", timeAgoSinceDate(std::nullopt, 7));
  EXPECT_FALSE(timeAgoSinceDate(NSDate::sinceReferenceDate(NAN), 7).empty());
}

TEST_F(DateUtilsTest, DatesAndPhrasesAreInTheUsersLanguage) {
  setPlace("Europe/Berlin", "de_DE.UTF-8");
  ::setenv("LANGUAGE", "de", 1);
  EXPECT_EQ("vor 2 Stunden", timeAgoSinceDate(secondsAgo(2 * 3600 + 5), 7));
  EXPECT_EQ("05.03.2024, 14:07:09", timeAgoSinceDate(kDate, 7));
  EXPECT_EQ("Unbekannt", timeAgoSinceDate(std::nullopt, 7));
}

}  // namespace
}  // namespace zelto::test
