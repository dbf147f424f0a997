#include "tests/cli/RunFixture.h"

namespace zelto::cli {
namespace {

namespace fs = std::filesystem;

class RunActionsTest : public RunFixture {
 protected:
  void SetUp() override {
    RunFixture::SetUp();
    if (IsSkipped()) return;
    for (const char* name : {"one.txt", "two.txt"})
      test::writeText(home_ / (std::string("shares/share/") + name), name);
    ASSERT_EQ(0, zelto("up --my-files on " + (home_ / "shares")).code);
  }
  std::string share() const { return mount() + "/My Files/share"; }
  std::string both() const { return " '" + share() + "/one.txt' '" + share() + "/two.txt'"; }
  std::string one() const { return " '" + share() + "/one.txt'"; }
  bool isHostConnected() { return flagField(objectField(status(), "fileSystem"), "hostConnected"); }
  // What `badges` prints comes to this soon.
  bool badgesBecome(const std::string& expected) {
    Result result;
    for (int tries = 0; tries < 100 && !(result = zelto("badges" + both())).output.contains(expected);
         ++tries) {
      ::usleep(20'000);
    }
    return result.output.contains(expected);
  }
};

TEST_F(RunActionsTest, ActionsAreListedDoneAndSeen) {
  EXPECT_TRUE(zelto("actions" + both()).output.contains("Bookmark "));
  EXPECT_FALSE(zelto("actions" + both()).output.contains("RemoveBookmark"));
  ASSERT_EQ(0, zelto("do bookmark" + both()).code);
  EXPECT_TRUE(badgesBecome("one.txt: bookmark; current\n"));
  EXPECT_TRUE(badgesBecome("two.txt: bookmark; current\n"));
  EXPECT_TRUE(zelto("actions --json" + one()).output.contains("RemoveBookmark"));
  EXPECT_EQ(0, zelto("do checkout" + one()).code);
  EXPECT_TRUE(badgesBecome("checkoutGreen"));
  const Result told = zelto("do CheckoutStatus" + both());
  EXPECT_EQ(0, told.code);
  EXPECT_TRUE(told.output.contains("one.txt\nYou have checked it out.\ntwo.txt\n")) << told.output;
}

TEST_F(RunActionsTest, WhatCannotBeDoneIsSaid) {
  Result result = zelto("do nonsense" + one());
  EXPECT_EQ(1, result.code);
  EXPECT_TRUE(result.output.contains("There is no action \"nonsense\"; there are RefreshMyFiles,"))
      << result.output;
  result = zelto("do removebookmark" + both());
  EXPECT_EQ(1, result.code);
  EXPECT_TRUE(result.output.contains("is not offered for these items together")) << result.output;
  result = zelto("do bookmark '" + share() + "/nothing'");
  EXPECT_EQ(1, result.code);
  EXPECT_TRUE(zelto("badges '" + share() + "/nothing'").output.contains("no such item"));
  killHalf("host");
  // The bus tells of its end a moment later.
  for (int tries = 0; tries < 500 && isHostConnected(); ++tries) ::usleep(10'000);
  result = zelto("do bookmark" + one());
  EXPECT_EQ(1, result.code);
  EXPECT_TRUE(result.output.contains("no host application is connected")) << result.output;
}

}  // namespace
}  // namespace zelto::cli
