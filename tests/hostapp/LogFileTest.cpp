#include <thread>

#include <gtest/gtest.h>

#include "hostapp/LogFile.h"
#include "tests/hostapp/ServerFolder.h"

namespace zelto::test {
namespace {

TEST(LogFileTest, OneLineForEachRecord) {
  const ServerFolder folder;
  LogFile log(folder.own("log"));
  log.record("2024-03-05 14:07:09:123+0100", "*** ERROR* **", 42, "two\nlines \\ and\ttab \x01 caf\xc3\xa9");
  log.flush();
  EXPECT_EQ(
      "2024-03-05 14:07:09:123+0100 *** ERROR* ** [42] two\\nlines \\\\ and\\x09tab \\x01 caf\xc3\xa9\n",
      contentOf(folder.own("log")));
}

TEST(LogFileTest, BeginsANewFileWhenItIsFull) {
  const ServerFolder folder;
  {
    LogFile log(folder.own("log"), 10'000);
    for (int i = 0; i < 500; ++i) {
      log.record("date", "INFO", 1, "record " + std::to_string(i) + std::string(50, '.'));
      if (i % 20 == 0) log.flush();
    }
  }
  const auto last = contentOf(folder.own("log"));
  const auto older = contentOf(folder.own("log.1"));
  EXPECT_LE(last.size(), 10'000U);
  EXPECT_LE(older.size(), 10'000U);
  EXPECT_NE(std::string::npos, last.find("record 499"));
  // The two files follow on each other: nothing between them is missing.
  const auto first = last.substr(last.find("record "), last.find('.') - last.find("record "));
  const auto number = std::stoi(first.substr(7));
  EXPECT_NE(std::string::npos, older.find("record " + std::to_string(number - 1) + "."));
}

TEST(LogFileTest, ManyThreadsAtOnce) {
  const ServerFolder folder;
  {
    LogFile log(folder.own("log"));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&log, t] {
        for (int i = 0; i < 1'000; ++i) log.record("d", "INFO", t, std::to_string(i));
      });
    }
    for (auto& thread : threads) thread.join();
  }
  const auto content = contentOf(folder.own("log"));
  EXPECT_EQ(4'000, std::count(content.begin(), content.end(), '\n'));
  EXPECT_NE(std::string::npos, content.find("d INFO [3] 999\n"));
}

TEST(LogFileTest, APlaceThatCannotBeWrittenStopsNobody) {
  LogFile log("/nowhere/at/all/log");
  log.info("lost");
  log.flush();
}

}  // namespace
}  // namespace zelto::test
