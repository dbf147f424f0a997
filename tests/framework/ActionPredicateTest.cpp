#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/actions/ActionPredicate.h"

namespace zelto::test {
namespace {

using testing::HasSubstr;

bool holds(const std::string& rule, const std::vector<NSDictionary>& items = {}) {
  const auto predicate = ActionPredicate::parse(rule);
  EXPECT_TRUE(predicate) << rule << ": " << predicate.error().message;
  return predicate && predicate->evaluate(items);
}

std::string forItem(const std::string& condition) {
  return "SUBQUERY(fileproviderItems, $i, " + condition + ").@count == 1";
}

const NSDictionary kItem{{"yes", true}, {"no", false}, {"one", 1},
                         {"zero", 0},   {"real", 1.5}, {"text", "a'b"}};

TEST(ActionPredicateTest, OperatorsBindAsUsual) {
  EXPECT_TRUE(holds("TRUEPREDICATE OR TRUEPREDICATE AND FALSEPREDICATE"));
  EXPECT_FALSE(holds("(TRUEPREDICATE OR TRUEPREDICATE) AND FALSEPREDICATE"));
  EXPECT_TRUE(holds("NOT FALSEPREDICATE AND TRUEPREDICATE"));
  EXPECT_FALSE(holds("NOT (FALSEPREDICATE OR TRUEPREDICATE)"));
  EXPECT_TRUE(holds("!!TRUEPREDICATE && not falsepredicate || 1 == 2"));
  EXPECT_TRUE(holds("falsePredicate or FALSEPREDICATE or\n\ttruepredicate"));
}

TEST(ActionPredicateTest, NumbersBooleansTextsAndNilCompareByValue) {
  for (const auto* rule :
       {"YES == 1", "NO = 0", "1 == 1.0", "-1 < 0", "1.5 > 1", "2 >= 2", "2 => 2", "1 <= 2", "1 =< 2",
        "1 != 2", "1 <> 2", "\"a\\\"b\" == 'a\"b'", "'a' != 'A'", "NIL == null", "nil != NO", "'' != nil",
        "'1' != 1", "9223372036854775807 > 9223372036854775806"}) {
    EXPECT_TRUE(holds(rule)) << rule;
  }
  for (const auto* rule : {"YES == 2", "1 < 1", "1 > 1.0", "'1' == 1", "nil == 0", "nil = ''"}) {
    EXPECT_FALSE(holds(rule)) << rule;
  }
}

TEST(ActionPredicateTest, ConditionsReadTheUserInfo) {
  for (const auto* condition :
       {"$i.userInfo.yes == YES", "$i.userInfo.yes == 1", "$i.userInfo.no == NO", "$i.userInfo.one == YES",
        "$i.userInfo.zero != YES", "$i.userInfo.real > 1", "$i.userInfo.text == 'a\\'b'",
        "$i.userInfo.missing == nil", "$i.userInfo.missing != YES AND $i.userInfo.yes == $i.userInfo.one",
        "fileproviderItems.@count == 1 AND NOT $i.userInfo.no == YES"}) {
    EXPECT_TRUE(holds(forItem(condition), {kItem})) << condition;
  }
  // Keys are exact; what is no number has no order.
  for (const auto* condition : {"$i.userInfo.Yes == YES", "$i.userInfo.missing == NO", "$i.userInfo.text > 0",
                                "$i.userInfo.text <= 0", "$i.userInfo.missing < 1"}) {
    EXPECT_FALSE(holds(forItem(condition), {kItem})) << condition;
  }
}

TEST(ActionPredicateTest, CountsQuantifyOverTheItems) {
  const NSDictionary on{{"on", true}}, off{{"on", false}};
  const std::string matching = "SUBQUERY(fileproviderItems, $i, $i.userInfo.on == YES).@count ";
  const std::string all = matching + "== fileproviderItems.@count";
  EXPECT_TRUE(holds(all, {}));
  EXPECT_TRUE(holds(all, {on, on}));
  EXPECT_FALSE(holds(all, {on, off}));
  EXPECT_TRUE(holds(matching + "> 0", {off, on, off}));
  EXPECT_FALSE(holds(matching + "> 0", {off, off}));
  EXPECT_TRUE(holds("fileproviderItems.@count >= 2 AND " + matching + "== 1", {off, on, off}));
}

struct BadRule {
  std::string rule;
  std::size_t position;
  std::string message;
};

void expectRefused(const BadRule& bad) {
  const auto predicate = ActionPredicate::parse(bad.rule);
  ASSERT_FALSE(predicate) << bad.rule;
  EXPECT_EQ(bad.position, predicate.error().position) << bad.rule;
  EXPECT_THAT(predicate.error().message, HasSubstr(bad.message)) << bad.rule;
}

TEST(ActionPredicateTest, WhatIsNotKnownIsNamedWithItsPlace) {
  const std::vector<BadRule> rules{
      {"", 0, "the end is nothing that can be compared"},
      {"1 ==", 4, "the end is nothing"},
      {"1 == 1 1", 7, "1 stands behind the end"},
      {"(1 == 1", 7, ") is expected here, not the end"},
      {"1 CONTAINS 1", 2, "a comparison is expected here (=, !=, <, <=, >, >=), not CONTAINS"},
      {"ALL 1 == 1", 0, "ALL is nothing that can be compared"},
      {"1 < 'a'", 2, "only numbers"},
      {"nil >= 1", 4, "only numbers"},
      {"fileproviderItems == 1", 18, ". is expected here, not =="},
      {"fileproviderItems.@max == 1", 18, "@count is expected here, not @max"},
      {"FileProviderItems.@count == 1", 0, "FileProviderItems is nothing"},
      {"$i.userInfo.a == 1", 0, "$i is not defined here"},
      {forItem("$j.userInfo.a == 1"), 32, "$j is not defined here"},
      {forItem("$i.filename == 'a'"), 35, "only userInfo is known, not filename"},
      {forItem("$i.userInfo == 1"), 44, ". is expected here"},
      {forItem("$i.userInfo.a"), 45, "a comparison is expected"},
      {forItem(forItem("1 == 1")), 32, "one SUBQUERY cannot stand in another"},
      {"SUBQUERY(items, $i, 1 == 1).@count == 1", 9, "fileproviderItems is expected here, not items"},
      {"SUBQUERY(fileproviderItems, i, 1 == 1).@count == 1", 28, "a variable is expected here, not i"},
      {"SUBQUERY(fileproviderItems, $i, 1 == 1) == 1", 40, ". is expected here, not =="},
      {"1 == #1", 5, "nothing begins with this character"},
      {"'a' == 'b", 7, "this text has no end"},
      {"'a\\x' == 'b'", 0, "a backslash in this text"},
      {"1.2.3 == 1", 0, "1.2.3 is not a number"},
      {"9223372036854775808 == 1", 0, "is not a number that can be used"},
      {std::string("1 ==\0 1", 7), 4, "nothing begins"},
      {"1 == \xc3\xa4", 5, "nothing begins"},
  };
  for (const auto& bad : rules) expectRefused(bad);
}

std::string repeated(const std::string& text, int count) {
  std::string result;
  for (int i = 0; i < count; ++i) result += text;
  return result;
}

TEST(ActionPredicateTest, LengthAndDepthAreBounded) {
  EXPECT_TRUE(holds(repeated("(", 32) + "1 == 1" + repeated(")", 32)));
  expectRefused({repeated("(", 33) + "1 == 1" + repeated(")", 33), 33, "nested deeper than 32 levels"});
  expectRefused({repeated("!", 4000) + "1 == 1", 33, "nested deeper"});
  expectRefused({repeated("(", 4096), 33, "nested deeper"});
  // Long, but flat.
  EXPECT_TRUE(holds("1 == 1" + repeated(" AND 1 == 1", 371)));
  expectRefused({repeated(" ", 4097), 4096, "more than 4096 bytes"});
}

}  // namespace
}  // namespace zelto::test
