#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/foundation/PropertyList.h"

namespace zelto {
namespace {

TEST(PropertyListTest, describesNestedValuesInThePlatformsStyle) {
  const NSDictionary dictionary{{"name", "a b"},
                                {"flag", true},
                                {"list", NSArray{1, 0.5}},
                                {"inner", NSDictionary{{"date", NSDate::since1970(1709644029)}}}};
  EXPECT_EQ(description(dictionary),
            "{\n    name = a b;\n    flag = 1;\n    list = (\n        1,\n        0.5\n    );\n"
            "    inner = {\n        date = 2024-03-05 13:07:09 +0000;\n    };\n}");
}

}  // namespace
}  // namespace zelto
