#include <gtest/gtest.h>

#include "hostapp/CheckoutTable.h"

namespace zelto::test {
namespace {

TEST(CheckoutTable, ReadsWhatItHasWritten) {
  CheckoutTable table;
  table.set("dir/gr\xc3\xbc\xc3\x9f \"x\".txt", {"anna", NSDate::since1970(1'700'000'000)});
  table.set("dir/sub/file", {"bob", NSDate::since1970(1'700'000'001)});
  table.set("dirt", {"bob", NSDate::since1970(1)});
  const auto read = CheckoutTable::decoded(table.encoded());
  ASSERT_TRUE(read);
  EXPECT_TRUE(read->differencesTo(table).empty());
  EXPECT_EQ(2U, read->atOrBelow("dir").size());
  EXPECT_EQ(1U, read->inFolder("dir").size());
  EXPECT_EQ(1U, read->inFolder("").count("dirt"));
  EXPECT_EQ((std::vector<std::string>{"dirt"}), [&] {
    auto other = *read;
    other.remove("dirt");
    return other.differencesTo(table);
  }());
}

// Another program, an older host or a broken disk may have written it.
TEST(CheckoutTable, LeavesOutWhatCannotBe) {
  for (const auto* text : {"[]", "{}", "{\"checkouts\":1}", "no json", "{\"checkouts\":{}}"}) {
    EXPECT_FALSE(CheckoutTable::decoded(text)) << text;
  }
  EXPECT_TRUE(CheckoutTable::decoded("")->empty());
  const auto read = CheckoutTable::decoded(R"({"checkouts":[
      1, [], {"path":"a"}, {"path":"../a","user":"u","since":1}, {"path":"/a","user":"u","since":1},
      {"path":"b","user":"","since":1}, {"path":"b","user":"a\nb","since":1}, {"path":"b","user":"u","since":1e300},
      {"path":"b","user":"u"}, {"path":7,"user":"u","since":1}, {"path":"good","user":"u","since":5,"more":true}]})");
  ASSERT_TRUE(read);
  EXPECT_EQ(1U, read->size());
  EXPECT_NE(nullptr, read->at("good"));
}

}  // namespace
}  // namespace zelto::test
