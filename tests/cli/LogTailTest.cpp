#include <thread>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "cli/LogTail.h"
#include "tests/bus/Recorder.h"
#include "tests/cli/TemporaryHome.h"

namespace zelto::cli {
namespace {

using Lines = std::vector<std::string>;

TEST(LogTail, GivesTheLastLines) {
  const test::TemporaryHome home;
  const std::string path = home / "log";
  EXPECT_TRUE(lastLines(path, 3).empty());
  test::writeText(path, "");
  EXPECT_TRUE(lastLines(path, 3).empty());
  test::writeText(path, "one\ntwo\nthree\n");
  EXPECT_EQ((Lines{"two", "three"}), lastLines(path, 2));
  EXPECT_EQ((Lines{"one", "two", "three"}), lastLines(path, 99));
  EXPECT_TRUE(lastLines(path, 0).empty());
  test::writeText(path, "one\n\nunfinished");
  EXPECT_EQ((Lines{"", "unfinished"}), lastLines(path, 2));
}

TEST(LogTail, ReadsBackOverBlocks) {
  const test::TemporaryHome home;
  std::string text;
  for (int number = 0; number < 20000; ++number) text += fmt::format("line {}\n", number);
  test::writeText(home / "log", text);
  const Lines lines = lastLines(home / "log", 15000);
  ASSERT_EQ(15000U, lines.size());
  EXPECT_EQ("line 5000", lines.front());
  EXPECT_EQ("line 19999", lines.back());
}

// Each step waits until the follower has told what it saw.
TEST(LogTail, FollowsAppendedReplacedAndCutFiles) {
  const test::TemporaryHome home;
  const std::string path = home / "log";
  test::writeText(path, "old\n");
  test::Recorder<std::string> seen;
  std::jthread follower([&] {
    const auto outcome = followFile(path, [&seen](std::string_view text) {
      seen.add(std::string(text));
      return !text.contains("end");
    });
    EXPECT_TRUE(outcome);
  });
  // The follower has begun once it sees a line of ours.
  const auto append = [&path](const std::string& text) { std::ofstream(path, std::ios::app) << text; };
  while (seen.count() == 0) {
    append("ping\n");
    std::this_thread::yield();
  }
  append("new\n");
  const auto isThere = [&seen](const std::string& text) { return seen.waitUntil(text); };
  EXPECT_TRUE(isThere("new\n"));
  std::ofstream(path, std::ios::trunc) << "cut\n";
  EXPECT_TRUE(isThere("cut\n"));
  test::writeText(path + ".1", "replaced\n");
  std::filesystem::rename(path + ".1", path);
  EXPECT_TRUE(isThere("replaced\n"));
  append("end\n");
}

}  // namespace
}  // namespace zelto::cli
