#include "support/DictionaryUtils.h"
#include "support/ZeltoClassUtils.h"
#include "tests/extension/Fixture.h"

namespace zelto::test {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

class DictionaryUtilsTest : public ExtensionFixture {};

TEST_F(DictionaryUtilsTest, BooleansAreReadFromNumbersAndTexts) {
  const auto read = [](const PropertyListValue& value) { return u_boolForKey({{"k", value}}, "k"); };
  for (const auto& value : std::vector<PropertyListValue>{true, 1, -3, 0.5, "yes", "Y", "true", "T", "1",
                                                          "  +007", "-9x", "tomorrow"}) {
    EXPECT_TRUE(read(value)) << description(value);
  }
  for (const auto& value : std::vector<PropertyListValue>{false, 0, 0.0, "", "no", "0", "000", "false", "+",
                                                          "- 1", "\xff", std::string_view("\0y", 2), NSDate(),
                                                          NSData::copyOf("1"), NSArray{true}}) {
    EXPECT_FALSE(read(value)) << description(value);
    EXPECT_EQ(!value.isNumber() && value.asString() == nullptr, u_boolForKey({{"k", value}}, "k", true));
  }
  EXPECT_FALSE(u_boolForKey({}, "k"));
  EXPECT_TRUE(u_boolForKey({}, "k", true));
}

TEST_F(DictionaryUtilsTest, NumbersAreNotReadFromTexts) {
  const NSDictionary dictionary{{"n", 5}, {"b", true}, {"s", "5"}};
  EXPECT_EQ(5, u_numberForKey(dictionary, "n")->integerValue());
  EXPECT_TRUE(u_numberForKey(dictionary, "b"));
  EXPECT_FALSE(u_numberForKey(dictionary, "s"));
  EXPECT_FALSE(u_numberForKey(dictionary, "x"));
}

TEST_F(DictionaryUtilsTest, AnItemIsOfItsClassAndOfThoseAboveIt) {
  const PropertyListValue boolean(true);
  const PropertyListValue integer(1);
  const auto isKind = &ZeltoClassUtils::isKindOfClassForItem;
  EXPECT_TRUE(isKind(&boolean, NSClass::Boolean) && isKind(&boolean, NSClass::Number));
  EXPECT_TRUE(isKind(&integer, NSClass::Number) && !isKind(&integer, NSClass::Boolean));
  const std::vector<PropertyListValue> items{"s", NSDate(), NSData(), NSArray(), NSDictionary()};
  const std::vector<NSClass> classes{NSClass::String, NSClass::Date, NSClass::Data, NSClass::Array,
                                     NSClass::Dictionary};
  for (std::size_t i = 0; i < items.size(); ++i) {
    EXPECT_TRUE(isKind(&items[i], NSClass::Object));
    for (std::size_t c = 0; c < classes.size(); ++c) EXPECT_EQ(i == c, isKind(&items[i], classes[c]));
  }
  EXPECT_FALSE(isKind(nullptr, NSClass::Object));
}

TEST_F(DictionaryUtilsTest, JsonFailuresAreWarningsWithoutTheDictionary) {
  EXPECT_EQ("{\"a\":\"b\"}", u_jsonForDictionary(NSDictionary{{"a", "b"}}));
  EXPECT_EQ("{\n  \"a\": \"b\"\n}", u_jsonForDictionary(NSDictionary{{"a", "b"}}, true));
  EXPECT_FALSE(u_jsonForDictionary(std::nullopt));
  EXPECT_FALSE(u_jsonForDictionary(NSDictionary{{"secret", NSDate()}}));
  EXPECT_FALSE(u_jsonForDictionary(NSDictionary{{"secret", "\xff"}}));
  const auto failed =
      StartsWith("WARN Utils: Failed to convert to string 'NSDictionary'. Reason: Error Domain=");
  EXPECT_THAT(host().linesWith("Utils:"),
              ElementsAre("WARN Utils: Failed to convert dictionary to json. Reason: Null dictionary", failed,
                          failed));
}

}  // namespace
}  // namespace zelto::test
