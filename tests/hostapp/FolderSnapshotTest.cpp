#include <algorithm>
#include <map>
#include <random>

#include <gtest/gtest.h>

#include "hostapp/FolderSnapshot.h"

namespace zelto::test {
namespace {

constexpr std::timespec kLater{2'000'000, 0};

BackendEntry entry(std::string name, std::uint64_t size = 1, std::int64_t time = 1'000,
                   EntryKind kind = EntryKind::file, std::uint64_t inode = 7) {
  return {std::move(name), {kind, true, size, {time, 5}, {time, 6}, inode}, ""};
}

FolderSnapshot snapshot(const std::vector<BackendEntry>& entries) {
  return FolderSnapshot::ofEntries(entries, kLater);
}

using Changes = std::vector<NamedChange>;

TEST(FolderSnapshot, TellsWhatHasChanged) {
  auto touched = entry("touched");
  const auto before = snapshot({entry("same"), entry("gone"), entry("grown"), touched, entry("kind"),
                                entry("folder", 0, 1, EntryKind::folder, 1)});
  touched.stat.changed.tv_nsec = 7;
  auto rights = entry("same");
  const auto after = snapshot({rights, entry("new"), entry("grown", 2), touched,
                               entry("kind", 1, 1'000, EntryKind::symbolicLink),
                               entry("folder", 0, 1, EntryKind::folder, 2)});
  EXPECT_EQ((Changes{{"folder", ChangeKind::replacement},
                     {"gone", ChangeKind::deletion},
                     {"grown", ChangeKind::update},
                     {"kind", ChangeKind::replacement},
                     {"new", ChangeKind::update},
                     {"touched", ChangeKind::update}}),
            before.changesTo(after));
  EXPECT_TRUE(after.changesTo(after).empty());
  rights.stat.writable = false;
  EXPECT_EQ((Changes{{"same", ChangeKind::update}}), snapshot({entry("same")}).changesTo(snapshot({rights})));
}

// Within one step of the file system's clock a file may change twice and look the same.
TEST(FolderSnapshot, AnEntryThatHasOnlyJustChangedIsNotTrusted) {
  const std::timespec justAfter{1'000, 1'000'000};
  const auto fresh = FolderSnapshot::ofEntries({entry("a")}, justAfter);
  const auto settled = snapshot({entry("a")});
  EXPECT_EQ((Changes{{"a", ChangeKind::update}}), fresh.changesTo(settled));
  EXPECT_TRUE(settled.changesTo(settled).empty());
  const auto stored = FolderSnapshot::decoded(fresh.encoded());
  ASSERT_TRUE(stored);
  EXPECT_EQ(1U, stored->changesTo(settled).size()) << "also after a restart";
}

// Applying single entries must end where reading the whole folder ends.
TEST(FolderSnapshot, SingleEntriesAmountToTheWhole) {
  std::mt19937 random(20240305);
  std::map<std::string, BackendEntry> folder;
  auto followed = snapshot({});
  const auto whole = [&folder] {
    std::vector<BackendEntry> entries;
    for (const auto& [name, e] : folder) entries.push_back(e);
    return snapshot(entries);
  };
  for (int round = 0; round < 300; ++round) {
    const auto before = whole();
    std::vector<std::string> names;
    for (int i = 0; i < 6; ++i) {
      const auto name = "n" + std::to_string(random() % 25);
      if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
      if (random() % 3 == 0) {
        folder.erase(name);
      } else {
        const auto kind = random() % 4 == 0 ? EntryKind::folder : EntryKind::file;
        folder[name] = entry(name, random() % 3, 1'000, kind, random() % 3);
      }
    }
    std::sort(names.begin(), names.end());
    std::vector<std::optional<BackendEntry>> found;
    for (const auto& name : names) {
      found.push_back(folder.contains(name) ? std::optional(folder[name]) : std::nullopt);
    }
    const auto changes = followed.apply(names, found, kLater);
    ASSERT_EQ(before.changesTo(whole()), changes) << "round " << round;
    ASSERT_TRUE(followed.changesTo(whole()).empty()) << "round " << round;
    ASSERT_EQ(whole().encoded(), followed.encoded()) << "round " << round;
  }
}

TEST(FolderSnapshot, ForgetsOnlyWhatIsStillTheSame) {
  auto folder = snapshot({entry("a"), entry("b")});
  auto other = entry("a").stat;
  other.changed.tv_nsec = 7;
  EXPECT_FALSE(folder.forget("a", other, kLater));
  EXPECT_FALSE(folder.forget("c", entry("c").stat, kLater));
  EXPECT_FALSE(folder.forget("a", entry("a").stat, {1'000, 20'000'000}))
      << "it may have been another by then";
  EXPECT_TRUE(folder.forget("a", entry("a").stat, {1'000, 20'000'007}));
  EXPECT_EQ((Changes{{"a", ChangeKind::update}}), folder.changesTo(snapshot({entry("a"), entry("b")})));
}

TEST(FolderSnapshot, SurvivesTheStoreAndRefusesDamage) {
  const auto original = snapshot({entry("a"), entry("b", 1ULL << 40, -5), entry(std::string(255, 'x'))});
  const auto bytes = original.encoded();
  const auto copy = FolderSnapshot::decoded(bytes);
  ASSERT_TRUE(copy);
  EXPECT_EQ(3U, copy->size());
  EXPECT_TRUE(original.changesTo(*copy).empty());
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    const auto cut = FolderSnapshot::decoded(std::string_view(bytes).substr(0, length));
    if (cut) {
      EXPECT_LT(cut->size(), 3U) << length;
    }
  }
  std::mt19937 random(7);
  for (int round = 0; round < 2'000; ++round) {
    auto damaged = bytes;
    damaged[random() % damaged.size()] ^= static_cast<char>(1U << (random() % 8));
    const auto read = FolderSnapshot::decoded(damaged);
    if (read) {
      EXPECT_LE(read->size(), damaged.size());
    }
  }
  EXPECT_FALSE(FolderSnapshot::decoded("something else"));
}

}  // namespace
}  // namespace zelto::test
