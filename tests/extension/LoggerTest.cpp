#include <ctime>

#include <unistd.h>

#include "support/DateUtils.h"
#include "support/FileProviderLogger.h"
#include "tests/extension/Fixture.h"

namespace zelto::test {
namespace {

class LoggerTest : public ExtensionFixture {};

TEST_F(LoggerTest, EachLevelHasItsWordAndVerboseFlag) {
  auto& logger = FileProviderLogger::instance();
  logger.logVerbose("a");
  logger.logDebug("b");
  logger.logInfo("c");
  logger.logWarn("");
  logger.logError("e %@ {}");
  logger.logNet("f");

  std::vector<std::tuple<std::string, std::string, bool>> lines;
  for (const auto& line : host().log()) {
    lines.emplace_back(line.message, line.level, line.verbose);
    EXPECT_EQ(::getpid(), line.pid);
    EXPECT_THAT(line.date, testing::MatchesRegex(
                               "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}:[0-9]{3}[+-][0-9]{4}"));
  }
  EXPECT_THAT(lines, testing::ElementsAre(std::tuple("a", "VERBOSE", true), std::tuple("b", "DEBUG", true),
                                          std::tuple("c", "INFO", false), std::tuple("", "WARN", false),
                                          std::tuple("e %@ {}", "*** ERROR* **", false),
                                          std::tuple("f", "NET", false)));
}

TEST_F(LoggerTest, LinesAreLostWhileNoHostIsConnectedAndNeverComeLater) {
  const auto kept = client().server();
  client().setServer(nullptr);
  FileProviderLogger::instance().logError("lost");
  client().setServer(kept);
  FileProviderLogger::instance().logInfo("kept");
  EXPECT_THAT(host().messages(), testing::ElementsAre("kept"));
}

TEST(DateUtilsTest, TextsFollowTheTimeZoneOneHourEast) {
  ::setenv("TZ", "Europe/Berlin", 1);
  ::tzset();
  // 1 February 2025, 08:05:03.007 UTC.
  const auto date = NSDate::since1970(1738397103.007);
  EXPECT_EQ("2025-02-01 09:05:03:007+0100", stringForLogDate(date));
  EXPECT_EQ("01 Feb 2025 09:05:03", formattedDateTime(date));
}

}  // namespace
}  // namespace zelto::test
