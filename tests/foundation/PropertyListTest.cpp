#include <cstdint>
#include <limits>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/foundation/DictionaryEntries.h"
#include "platform/foundation/PropertyList.h"

namespace zelto {
namespace {

TEST(PropertyListTest, keepsBooleanIntegerAndRealApart) {
  EXPECT_FALSE(PropertyListValue(true) == PropertyListValue(1));
  EXPECT_FALSE(PropertyListValue(1) == PropertyListValue(1.0));
  EXPECT_TRUE(PropertyListValue(true).isNumber());
  EXPECT_FALSE(PropertyListValue("1").isNumber());
  EXPECT_NE(PropertyListValue("text").asString(), nullptr) << "a literal must not become a boolean";
}

TEST(PropertyListTest, clampsRealsThatNoIntegerHolds) {
  using Limits = std::numeric_limits<std::int64_t>;
  EXPECT_EQ(PropertyListValue(-2.9).integerValue(), -2);
  EXPECT_EQ(PropertyListValue(1e300).integerValue(), Limits::max());
  EXPECT_EQ(PropertyListValue(-1e300).integerValue(), Limits::min());
  EXPECT_EQ(PropertyListValue(std::numeric_limits<double>::quiet_NaN()).integerValue(), 0);
  EXPECT_EQ(PropertyListValue(true).integerValue(), 1);
  EXPECT_EQ(PropertyListValue("7").integerValue(), 0);
}

TEST(PropertyListTest, comparesDictionariesWithoutRegardToOrder) {
  const NSDictionary a{{"x", 1}, {"y", NSArray{1, NSDictionary{{"z", "t"}}}}};
  NSDictionary b{{"y", NSArray{1, NSDictionary{{"z", "t"}}}}, {"x", 1}};
  EXPECT_EQ(a, b);
  b.set("x", 2);
  EXPECT_EQ(b.size(), 2U);
  EXPECT_FALSE(a == b);
  EXPECT_FALSE(a == (NSDictionary{{"x", 1}, {"w", 1}}));
}

TEST(PropertyListTest, readsTheLastOfRepeatedKeysInSmallAndLargeDictionaries) {
  for (const std::size_t extra : {std::size_t{0}, std::size_t{100}}) {
    std::vector<NSDictionary::Entry> entries;
    entries.emplace_back(DictionaryKey("a"), 1);
    entries.emplace_back(DictionaryKey("b"), 2);
    for (std::size_t i = 0; i < extra; ++i) entries.emplace_back(DictionaryKey(std::to_string(i)), 0);
    entries.emplace_back(DictionaryKey("a"), 3);
    const NSDictionary dictionary = dictionaryOfEntries(std::move(entries));
    EXPECT_EQ(dictionary.size(), 2 + extra);
    EXPECT_EQ(dictionary.begin()->first.name(), "a");
    EXPECT_EQ(dictionary.find("a")->integerValue(), 3);
    EXPECT_EQ(dictionary.find("b")->integerValue(), 2);
  }
}

TEST(PropertyListTest, describesNestedValuesInThePlatformsStyle) {
  const NSDictionary dictionary{{"name", "a b"},
                                {"flag", true},
                                {"bytes", NSData::copyOf("\x01\xff")},
                                {"list", NSArray{1, 0.5}},
                                {"inner", NSDictionary{{"date", NSDate::since1970(1709644029.9)}}}};
  EXPECT_EQ(description(dictionary),
            "{\n    name = a b;\n    flag = 1;\n    bytes = {length = 2, bytes = 0x01ff};\n"
            "    list = (\n        1,\n        0.5\n    );\n"
            "    inner = {\n        date = 2024-03-05 13:07:09 +0000;\n    };\n}");
  EXPECT_EQ(description(std::optional<std::string>()), "(null)");
  EXPECT_EQ(description(std::optional<NSDate>()), "(null)");
}

TEST(PropertyListTest, describesDatesThatNoCalendarHolds) {
  for (const double seconds :
       {1e300, -1e300, std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_FALSE(description(std::optional(NSDate::sinceReferenceDate(seconds))).empty());
  }
}

TEST(DictionaryKeyTest, keepsNamesOfEveryLength) {
  for (const std::size_t length :
       {std::size_t{0}, std::size_t{1}, std::size_t{40}, std::size_t{41}, std::size_t{100'000}}) {
    const std::string name(length, 'k');
    DictionaryKey key(name);
    const DictionaryKey copy = key;
    const DictionaryKey moved = std::move(key);
    EXPECT_EQ(copy.name(), name);
    EXPECT_EQ(moved, copy);
    EXPECT_EQ(DictionaryKey(name), copy);
  }
  EXPECT_FALSE(DictionaryKey("a") == DictionaryKey("b"));
}

// More names than the pool has room for, from several threads: each must stay what it is.
TEST(DictionaryKeyTest, survivesAFullPool) {
  std::vector<std::jthread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([] {
      std::vector<DictionaryKey> keys;
      for (int i = 0; i < 20'000; ++i) keys.emplace_back("key" + std::to_string(i));
      for (int i = 0; i < 20'000; ++i) {
        ASSERT_EQ(keys[static_cast<std::size_t>(i)].name(), "key" + std::to_string(i));
      }
    });
  }
}

}  // namespace
}  // namespace zelto
