#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/foundation/NSRegularExpression.h"

namespace zelto {
namespace {

std::string replaced(std::string_view pattern, std::string_view text, std::string_view form) {
  const auto expression = NSRegularExpression::regularExpressionWithPattern(pattern);
  return expression ? expression->stringByReplacingMatchesInString(text, form).value_or("given up")
                    : expression.error().localizedDescription();
}

TEST(NSRegularExpressionTest, templatesNameGroupsAndEscape) {
  EXPECT_EQ(replaced("(a)(b)", "ab-ab", "$2$1$0"), "baab-baab");
  EXPECT_EQ(replaced("a", "xax", "$5"), "xx") << "a group that the pattern does not have";
  EXPECT_EQ(replaced("a", "xax", "$05"), "xa5x") << "no more digits than the number of groups has";
  EXPECT_EQ(replaced("(a)|b", "b", "[$1]"), "[]") << "a group that took no part";
  EXPECT_EQ(replaced("(.)(.)(.)(.)(.)(.)(.)(.)(.)(.)", "0123456789", "$10$1$100"),
            "909"
            "0");
  EXPECT_EQ(replaced("a", "a", R"(\$0 \\ \n \u0041 $x $)"), R"($0 \ n u0041 $x $)");
  EXPECT_EQ(replaced("a", "a", "b\\"), "b");
}

TEST(NSRegularExpressionTest, countsInCharactersNotBytes) {
  EXPECT_EQ(replaced("^.$", "😀", "ü"), "ü");
  EXPECT_EQ(replaced("x",
                     "a\xff"
                     "x",
                     "\xfe"),
            "a\uFFFD\uFFFD");
  EXPECT_EQ(replaced("$", "", "end"), "end") << "an empty match in an empty text";
  EXPECT_EQ(replaced("", "ab", "-"), "-a-b-");
  EXPECT_EQ(replaced("\\x00", std::string_view("a\0b", 3), "0"), "a0b");
}

TEST(NSRegularExpressionTest, refusesWhatIsNoPattern) {
  for (const std::string pattern : {"(", "[", "a{2,1}", "\\", "*", "(?<", "\\k<x>"}) {
    EXPECT_EQ(replaced(pattern, "text", ""), "The value “" + pattern + "” is invalid.");
  }
}

// It would take 2^40 steps.
TEST(NSRegularExpressionTest, givesUpWhatTakesForEver) {
  EXPECT_EQ(replaced("(a+)+$", std::string(40, 'a') + "b", ""), "given up");
  const auto expression = NSRegularExpression::regularExpressionWithPattern("(a+)+$");
  EXPECT_FALSE(expression->hasMatchInString(std::string(40, 'a') + "b"));
}

TEST(NSRegularExpressionTest, isSharedByThreads) {
  const auto expression = NSRegularExpression::regularExpressionWithPattern("a+");
  std::vector<std::jthread> threads;
  for (int t = 0; t < 2; ++t) {
    threads.emplace_back([&expression] {
      for (int i = 0; i < 500; ++i) {
        ASSERT_EQ(expression->stringByReplacingMatchesInString("aabaa", "x"), "xbx");
      }
    });
  }
}

}  // namespace
}  // namespace zelto
