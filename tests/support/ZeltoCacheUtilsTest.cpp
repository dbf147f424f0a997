#include <cmath>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/foundation/Path.h"
#include "support/StringUtils.h"
#include "tests/extension/Fixture.h"
#include "transfer/ZeltoCacheUtils.h"

namespace zelto::test {
namespace {

constexpr std::int64_t kSecond = 1'700'000'000;

ZeltoRemoteFile remote(std::int64_t size, double modified) {
  return {"/a/b.txt", size, NSDate::since1970(modified)};
}

class ZeltoCacheUtilsTest : public ExtensionFixture {
 protected:
  // Before the first use, which fixes the folder.
  static std::string pathInOwnFolder() {
    ::setenv("XDG_CACHE_HOME", dataFolder().c_str(), 1);
    std::filesystem::create_directories(ZeltoCacheUtils::cachePath());
    return ZeltoCacheUtils::cachePathForFile(remote(5, 0), {"Docs"});
  }

  // A file of five bytes, changed at kSecond and some nanoseconds.
  void makeCopy(long nanoseconds = 0) const {
    writeFile(path_, "12345");
    setTime(path_, nanoseconds);
  }
  static void setTime(const std::string& path, long nanoseconds) {
    const std::timespec times[] = {{0, UTIME_NOW}, {kSecond, nanoseconds}};
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, path.c_str(), times, 0));
  }
  bool check(const ZeltoRemoteFile& file) const {
    return ZeltoCacheUtils::checkForNonStaleCachedFileAtPath(path_, file);
  }
  bool isThere() const { return std::filesystem::exists(path_); }

  const ZeltoRemoteShare share_{"Docs"};
  const std::string path_ = pathInOwnFolder();
};

TEST_F(ZeltoCacheUtilsTest, AFileHasOneNameWhateverSlashItsPathBeginsWith) {
  EXPECT_EQ(dataFolder() + "/Zelto/cache.noindex", ZeltoCacheUtils::cachePath());
  EXPECT_EQ(ZeltoCacheUtils::cachePath() + "/" + u_MD5("Docs/a/b.txt"), path_);
  EXPECT_EQ(path_, ZeltoCacheUtils::cachePathForFile({"a/b.txt", 9, std::nullopt}, share_));
  EXPECT_NE(path_, ZeltoCacheUtils::cachePathForFile(remote(5, 0), {"docs"}));
  for (const auto& odd : std::vector<std::string>{"", "/", "../../x", "\xff", std::string(1'000'000, 'x')}) {
    const auto path = ZeltoCacheUtils::cachePathForFile({odd, 0, std::nullopt}, {odd});
    EXPECT_EQ(ZeltoCacheUtils::cachePath(), stringByDeletingLastPathComponent(path));
    EXPECT_EQ(32, lastPathComponent(path).size());
  }
}

struct Copy {
  std::string name;
  ZeltoRemoteFile file;
  bool current;
};

class CachedCopyTest : public ZeltoCacheUtilsTest, public testing::WithParamInterface<Copy> {};

// The copy has five bytes and the date kSecond and 0.9 seconds.
TEST_P(CachedCopyTest, StaysOnlyWhileItIsCurrent) {
  makeCopy(900'000'000);
  EXPECT_EQ(GetParam().current, check(GetParam().file));
  EXPECT_EQ(GetParam().current, isThere());
}

INSTANTIATE_TEST_SUITE_P(Rules, CachedCopyTest,
                         testing::Values(Copy{"SameSecond", remote(5, kSecond), true},
                                         Copy{"LaterInTheSecond", remote(5, kSecond + 0.99), true},
                                         Copy{"RemoteOlder", remote(5, kSecond - 1), true},
                                         Copy{"RemoteNewer", remote(5, kSecond + 1), false},
                                         Copy{"NoDate", {"/a/b.txt", 5, std::nullopt}, true},
                                         Copy{"RemoteLonger", remote(6, kSecond), false},
                                         Copy{"RemoteShorterAndOlder", remote(4, kSecond - 1000), false},
                                         Copy{"NoSize", remote(-1, 0), false},
                                         Copy{"Endless", remote(5, HUGE_VAL), false},
                                         Copy{"BeforeAll", remote(5, -HUGE_VAL), true}),
                         [](const testing::TestParamInfo<Copy>& copy) { return copy.param.name; });

// Cut towards zero, a moment before 1970 is the second 0 as well.
TEST_F(ZeltoCacheUtilsTest, FractionsBefore1970AreCutTowardsZero) {
  makeCopy();
  const std::timespec times[] = {{0, UTIME_NOW}, {-1, 0}};
  ASSERT_EQ(0, ::utimensat(AT_FDCWD, path_.c_str(), times, 0));
  EXPECT_TRUE(check(remote(5, -1.9)));
  EXPECT_FALSE(check(remote(5, -0.5)));
}

TEST_F(ZeltoCacheUtilsTest, OnlyACurrentCopysPathIsGiven) {
  EXPECT_FALSE(ZeltoCacheUtils::pathForNonStaleCachedFile(remote(5, kSecond), share_));
  makeCopy();
  EXPECT_EQ(path_, ZeltoCacheUtils::pathForNonStaleCachedFile(remote(5, kSecond), share_));
  EXPECT_FALSE(ZeltoCacheUtils::pathForNonStaleCachedFile(remote(5, kSecond), {"Other"}));
  EXPECT_FALSE(ZeltoCacheUtils::pathForNonStaleCachedFile(remote(6, kSecond), share_));
  EXPECT_FALSE(isThere());
}

TEST_F(ZeltoCacheUtilsTest, AFolderInTheFilesPlaceIsTreatedLikeAFile) {
  std::filesystem::create_directories(path_ + "/inside");
  setTime(path_, 0);
  struct ::stat status {};
  ASSERT_EQ(0, ::stat(path_.c_str(), &status));
  const std::int64_t size = status.st_size;
  EXPECT_TRUE(check(remote(size, kSecond)));
  EXPECT_TRUE(isThere());
  EXPECT_FALSE(check(remote(size + 1, kSecond)));
  EXPECT_FALSE(isThere());
}

// The link is what is removed, not what it leads to.
TEST_F(ZeltoCacheUtilsTest, ALinkIsLookedThrough) {
  const auto target = dataFolder() + "/target";
  writeFile(target, "12345");
  setTime(target, 0);
  std::filesystem::create_symlink(target, path_);
  EXPECT_TRUE(check(remote(5, kSecond)));
  EXPECT_FALSE(check(remote(5, kSecond + 1)));
  EXPECT_FALSE(std::filesystem::is_symlink(path_));
  EXPECT_TRUE(std::filesystem::exists(target));
}

TEST_F(ZeltoCacheUtilsTest, WhatCannotBeLookedAtIsLeftAlone) {
  makeCopy();
  EXPECT_FALSE(
      ZeltoCacheUtils::checkForNonStaleCachedFileAtPath(path_ + std::string("\0x", 2), remote(6, 0)));
  EXPECT_FALSE(ZeltoCacheUtils::checkForNonStaleCachedFileAtPath(path_ + "/below", remote(6, 0)));
  EXPECT_FALSE(ZeltoCacheUtils::checkForNonStaleCachedFileAtPath("", remote(0, 0)));
  EXPECT_FALSE(ZeltoCacheUtils::checkForNonStaleCachedFileAtPath(std::string(5000, 'x'), remote(0, 0)));
  EXPECT_TRUE(isThere());
  std::filesystem::create_symlink("loop", dataFolder() + "/loop");
  EXPECT_FALSE(ZeltoCacheUtils::checkForNonStaleCachedFileAtPath(dataFolder() + "/loop", remote(0, 0)));
  EXPECT_TRUE(std::filesystem::is_symlink(dataFolder() + "/loop"));
}

}  // namespace
}  // namespace zelto::test
