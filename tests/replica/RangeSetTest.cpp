#include <bitset>
#include <limits>
#include <random>

#include <gtest/gtest.h>

#include "framework/replica/RangeSet.h"

namespace zelto {
namespace {

constexpr std::size_t kBits = 300;
using Model = std::bitset<kBits>;

std::vector<NSRange> runs(const Model& model, NSRange within, bool value) {
  std::vector<NSRange> found;
  for (std::uint64_t at = within.location; at < within.end(); ++at) {
    if (model[at] != value) continue;
    if (!found.empty() && found.back().end() == at) {
      ++found.back().length;
    } else {
      found.push_back({at, 1});
    }
  }
  return found;
}

TEST(RangeSetTest, AgreesWithABitmapAfterAnyAdditions) {
  std::mt19937 random(20240305);
  const auto below = [&](std::size_t limit) { return std::uint64_t{random() % limit}; };
  for (int round = 0; round < 300; ++round) {
    Model model;
    RangeSet set;
    for (int step = 0; step < 40; ++step) {
      NSRange added{below(kBits), 0};
      added.length = below(std::min<std::uint64_t>(kBits - added.location + 1, 40));
      set.add(added);
      for (std::uint64_t at = added.location; at < added.end(); ++at) model.set(at);
      NSRange asked{below(kBits), 0};
      asked.length = below(kBits - asked.location + 1);
      ASSERT_EQ(set.missing(asked), runs(model, asked, false));
      ASSERT_EQ(set.covers(asked), runs(model, asked, false).empty());
      ASSERT_EQ(set.ranges(), runs(model, {0, kBits}, true));
      ASSERT_EQ(set.totalLength(), model.count());
      ASSERT_EQ(RangeSet::decoded(set.encoded()).ranges(), set.ranges());
    }
  }
}

TEST(RangeSetTest, RangesAtTheEndOfTheNumbersDoNotWrap) {
  const auto most = std::numeric_limits<std::uint64_t>::max();
  RangeSet set;
  set.add({most - 5, 100});
  EXPECT_EQ(set.ranges(), (std::vector<NSRange>{{most - 5, 5}}));
  EXPECT_FALSE(set.covers({0, most}));
  EXPECT_EQ(set.missing({10, most}), (std::vector<NSRange>{{10, most - 15}}));
  EXPECT_EQ(RangeSet::decoded(set.encoded()).ranges(), set.ranges());
}

TEST(RangeSetTest, BytesThatAreNotOfOursGiveNothing) {
  RangeSet set;
  set.add({1000, 50});
  set.add({5000, 1000000});
  const std::string bytes = set.encoded();
  for (std::size_t cut = 1; cut < bytes.size(); ++cut) {
    const auto ranges = RangeSet::decoded(bytes.substr(0, cut)).ranges();
    EXPECT_TRUE(ranges.empty() || ranges == (std::vector<NSRange>{{1000, 50}}));
  }
  EXPECT_TRUE(RangeSet::decoded(std::string(20, '\xff')).empty());
  EXPECT_TRUE(RangeSet::decoded(std::string("\x05\x00", 2)).empty());
  // Two ranges that touch would have been one; an end past the last number.
  EXPECT_TRUE(RangeSet::decoded(std::string("\x05\x01\x00\x01", 4)).empty());
  EXPECT_TRUE(RangeSet::decoded("\xff\xff\xff\xff\xff\xff\xff\xff\xff\x01\x02").empty());
}

}  // namespace
}  // namespace zelto
