#include <limits>

#include <gtest/gtest.h>

#include "tests/messaging/ConnectedTest.h"

namespace zelto::test {

class Listing : public ConnectedTest {
 protected:
  void request(const std::string& path) {
    server().metadataForDirectory(path, false,
                                  [this](DictionaryList list) { received.put(std::move(list)); });
  }
  // What arrives when the host answers one listing with `list`.
  DictionaryList roundTrip(DictionaryList list) {
    request("/dir");
    fake().lists.take()(std::move(list));
    return received.take();
  }

  Mailbox<DictionaryList> received;
};

NSDictionary nested(int depth) {
  NSDictionary inner{{"depth", depth}};
  for (int level = 1; level < depth; ++level) inner = NSDictionary{{"level", level}, {"inner", inner}};
  return inner;
}

TEST_F(Listing, EveryTypeOfValueRoundTripsExactly) {
  constexpr auto kLimits = std::numeric_limits<std::int64_t>();
  NSDictionary values{{"true", true},
                      {"false", false},
                      {"one", 1},
                      {"zero", 0},
                      {"one real", 1.0},
                      {"min", kLimits.min()},
                      {"max", kLimits.max()},
                      {"tiny", 5e-324},
                      {"text", std::string("nul \0 inside", 12)},
                      {"empty text", ""},
                      {"date", NSDate::sinceReferenceDate(731234567.123456789)},
                      {"data", NSData::copyOf(std::string_view("\0\xff", 2))},
                      {"empty data", NSData()},
                      {"empty array", NSArray()},
                      {"empty dictionary", NSDictionary()},
                      {"array", NSArray{1, true, "x", NSArray{2.5, NSDictionary{{"text", "again"}}}}},
                      {"", "an empty key"}};
  auto list = roundTrip({values, nested(32)});
  EXPECT_EQ((DictionaryList{values, nested(32)}), list);
  // Equality alone could hold between numbers of different types.
  EXPECT_TRUE(list.front().find("true")->asBoolean());
  EXPECT_TRUE(list.front().find("one")->asInteger());
  EXPECT_TRUE(list.front().find("one real")->asReal());
  // In the order they were put in.
  EXPECT_EQ("true", list.front().begin()->first.name());
  EXPECT_EQ("", std::prev(list.front().end())->first.name());
}

TEST_F(Listing, ValuesNestedTooDeeplyAreNotSent) {
  request("/deep");
  fake().lists.take()({nested(33)});
  EXPECT_EQ(DictionaryList{nested(1)}, roundTrip({nested(1)})) << "the connection has ended";
}

TEST_F(Listing, DictionariesWithManyDifferentKeysRoundTrip) {
  DictionaryList list;
  for (int i = 0; i < 3000; ++i)
    list.push_back(
        {{fmt::format("key {}", i), i}, {"shared", i}, {fmt::format("key {}", i / 7 * 7 + 3000), "x"}});
  EXPECT_EQ(list, roundTrip(list));
}

TEST_F(Listing, ExactPartBoundariesRoundTrip) {
  for (std::size_t count : {0U, 1U, 999U, 1000U, 1001U, 2000U}) {
    DictionaryList list(count, NSDictionary{{"n", static_cast<std::int64_t>(count)}});
    EXPECT_EQ(list, roundTrip(list)) << count;
  }
}

TEST_F(Listing, FewButLargeDictionariesAreDividedBySize) {
  DictionaryList list;
  for (int i = 0; i < 12; ++i)
    list.push_back({{"icon", NSData(std::vector<std::byte>(std::size_t{3} << 20, std::byte(i)))}, {"n", i}});
  EXPECT_EQ(list, roundTrip(list));
}

TEST_F(Listing, ManyDeletedIdentifiersArriveInOrder) {
  std::vector<std::string> deleted;
  for (int i = 0; i < 200'000; ++i) deleted.push_back(fmt::format("/a path that no longer is there/{}", i));
  Mailbox<std::vector<std::string>> arrived;
  server().retrieveChangesWithCompletion(
      [&arrived](DictionaryList, auto identifiers) { arrived.put(std::move(identifiers)); });
  fake().changes.take()({itemDictionary(1)}, deleted);
  EXPECT_EQ(deleted, arrived.take());
}

TEST_F(Listing, SmallCallsPassALongListing) {
  constexpr int kEntries = 200'000;
  request("/large");
  DictionaryList list;
  for (int i = 0; i < kEntries; ++i) list.push_back(itemDictionary(i));
  auto reply = fake().lists.take();
  reply(std::move(list));
  int passed = 0;
  Mailbox<bool> answered;
  while (received.empty()) {
    server().deleteItemWithPath("/small", [&answered](auto) { answered.put(true); });
    fake().errors.take()(std::nullopt);
    ASSERT_NO_THROW(answered.take());
    if (received.empty()) ++passed;
  }
  EXPECT_GE(passed, 20) << "small calls wait behind the listing";
  auto arrived = received.take();
  ASSERT_EQ(kEntries, arrived.size());
  for (int i : {0, 999, 1000, 123'456, kEntries - 1})
    EXPECT_EQ(itemDictionary(i), arrived[static_cast<std::size_t>(i)]);
}

TEST_F(Listing, LongListingsTakeTurns) {
  request("/long");
  request("/short");
  auto first = fake().lists.take();
  auto second = fake().lists.take();
  first(DictionaryList(150'000, itemDictionary(1)));
  second(DictionaryList(5'000, itemDictionary(2)));
  EXPECT_EQ(5'000U, received.take().size());
  EXPECT_EQ(150'000U, received.take().size());
}

}  // namespace zelto::test
