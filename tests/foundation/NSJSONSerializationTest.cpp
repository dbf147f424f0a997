#include <cmath>
#include <string>

#include <gtest/gtest.h>

#include "platform/foundation/NSJSONSerialization.h"

namespace zelto {
namespace {

using namespace std::string_view_literals;

std::string repeated(std::string_view text, std::size_t count) {
  std::string result;
  for (std::size_t i = 0; i < count; ++i) result += text;
  return result;
}

TEST(NSJSONSerializationTest, writesCompactAndIndentedInTheGivenOrder) {
  const NSDictionary value{{"z", "ü\"\n"}, {"a", NSArray{true, -1, 1.0}}, {"e", NSDictionary()}};
  EXPECT_EQ(NSJSONSerialization::stringWithValue(value, false), R"({"z":"ü\"\n","a":[true,-1,1.0],"e":{}})");
  EXPECT_EQ(NSJSONSerialization::stringWithValue(NSDictionary{{"k", 1}}, true), "{\n  \"k\": 1\n}");
}

TEST(NSJSONSerializationTest, readsBackWhatItWrites) {
  const PropertyListValue value = NSDictionary{{"i", std::int64_t{9'007'199'254'740'993}},
                                               {"r", 0.1},
                                               {"b", false},
                                               {"s", std::string("a\0b", 3)},
                                               {"n", NSArray{NSArray{}}}};
  const auto text = NSJSONSerialization::stringWithValue(value, true);
  ASSERT_TRUE(text);
  EXPECT_EQ(NSJSONSerialization::valueWithString(*text), value);
}

TEST(NSJSONSerializationTest, refusesWhatJsonCannotHold) {
  PropertyListValue deep = NSArray{};
  for (int i = 0; i < 600; ++i) deep = NSArray{deep};
  for (const PropertyListValue& inside : {PropertyListValue(NSDate()), PropertyListValue(NSData()),
                                          PropertyListValue(NAN), PropertyListValue("\xff"), deep}) {
    EXPECT_FALSE(NSJSONSerialization::stringWithValue(NSDictionary{{"k", inside}}, false));
  }
}

TEST(NSJSONSerializationTest, leavesNullOutAndTakesTheLastOfRepeatedMembers) {
  EXPECT_EQ(NSJSONSerialization::valueWithString(R"({"a":null,"b":1,"b":[null,2]})"),
            PropertyListValue(NSDictionary{{"b", NSArray{2}}}));
  EXPECT_EQ(NSJSONSerialization::valueWithString("[18446744073709551615]"),
            PropertyListValue(NSArray{18446744073709551615.0}));
}

TEST(NSJSONSerializationTest, refusesMalformedText) {
  for (const std::string text : {"", " ", "1", "null", "\"a\"", "{", "[1,]", "{\"a\"}", "[1]x", "[\"\xff\"]",
                                 "[1e999]", "[\"\\ud800\"]", "{1:2}", "[\x01]"}) {
    const auto value = NSJSONSerialization::valueWithString(text);
    EXPECT_FALSE(value) << text;
  }
  for (const std::string_view text : {"{}\0"sv, "[1]\0x"sv, "\0"sv}) {
    EXPECT_FALSE(NSJSONSerialization::valueWithString(text));
  }
}

TEST(NSJSONSerializationTest, boundsDepthAndMemory) {
  EXPECT_TRUE(NSJSONSerialization::valueWithString(repeated("[", 512) + repeated("]", 512)));
  EXPECT_FALSE(NSJSONSerialization::valueWithString(repeated("[", 513) + repeated("]", 513)));
  EXPECT_FALSE(NSJSONSerialization::valueWithString(repeated("[", 1'000'000)));
  EXPECT_FALSE(NSJSONSerialization::valueWithString("[0" + repeated(",0", 5'000'000) + "]"))
      << "too many values";
  EXPECT_FALSE(NSJSONSerialization::valueWithString("[\"" + std::string(std::size_t{64} << 20, 'a') + "\"]"));
}

}  // namespace
}  // namespace zelto
