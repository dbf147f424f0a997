#include <gtest/gtest.h>

#include "framework/propagation/ConflictName.h"
#include "platform/foundation/Unicode.h"

namespace zelto::test {
namespace {

constexpr std::tm kTime{.tm_sec = 33,
                        .tm_min = 5,
                        .tm_hour = 14,
                        .tm_mday = 23,
                        .tm_mon = 10,
                        .tm_year = 126,
                        .tm_wday = 0,
                        .tm_yday = 0,
                        .tm_isdst = 0,
                        .tm_gmtoff = 0,
                        .tm_zone = nullptr};

TEST(ConflictName, StandsBeforeTheEnding) {
  const auto name = [](std::string_view from, bool folder = false) {
    return conflictName(from, folder, kTime);
  };
  EXPECT_EQ(name("report.txt"), "report (conflict 2026-11-23 14.05.33).txt");
  EXPECT_EQ(name("Makefile"), "Makefile (conflict 2026-11-23 14.05.33)");
  EXPECT_EQ(name(".profile"), ".profile (conflict 2026-11-23 14.05.33)");
  EXPECT_EQ(name("v1.2", true), "v1.2 (conflict 2026-11-23 14.05.33)");
  EXPECT_EQ(name("No. 5 of a long series"), "No. 5 of a long series (conflict 2026-11-23 14.05.33)");
}

TEST(ConflictName, FurtherOnesAreCountedAndDoNotPileUp) {
  const auto first = conflictName("a.txt", false, kTime);
  EXPECT_EQ(conflictName("a.txt", false, kTime, 2), "a (conflict 2026-11-23 14.05.33 2).txt");
  EXPECT_EQ(conflictName(first, false, kTime, 3), "a (conflict 2026-11-23 14.05.33 3).txt");
  EXPECT_EQ(conflictName(conflictName(first, false, kTime, 12), false, kTime), first);
}

TEST(ConflictName, LongNamesAreCutBetweenCharacters) {
  for (std::size_t length = 240; length <= 255; ++length) {
    std::string name(length % 3, 'a');
    while (name.size() + 3 <= length - 4) name += "€";
    const auto kept = conflictName(name + ".txt", false, kTime, 17);
    EXPECT_LE(kept.size(), 255U);
    EXPECT_TRUE(isValidUTF8(kept)) << kept;
    EXPECT_TRUE(kept.ends_with(" 17).txt"));
  }
}

}  // namespace
}  // namespace zelto::test
