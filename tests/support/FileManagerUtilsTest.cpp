#include <cerrno>
#include <cmath>
#include <ctime>
#include <filesystem>
#include <limits>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/foundation/Path.h"
#include "support/FileManagerUtils.h"
#include "tests/extension/Fixture.h"

namespace zelto::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class FileManagerUtilsTest : public ExtensionFixture {
 protected:
  FileManagerUtilsTest() { writeFile(path_, "12345"); }

  static NSURL url(const std::string& path) { return NSURL::fileURL(path); }
  // Whole seconds; a fraction would show as the wrong value.
  static double secondsOf(const std::optional<NSDate>& date) {
    return date ? date->timeIntervalSince1970() : -1;
  }

  const std::string path_ = dataFolder() + "/file";
  const std::string missing_ = dataFolder() + "/missing";
  // The first file's path, and behind it a NUL.
  const std::string withNul_ = path_ + std::string("\0x", 2);
};

TEST_F(FileManagerUtilsTest, TemporaryNamesAreNewAndNothingIsThere) {
  ::setenv("TMPDIR", dataFolder().c_str(), 1);
  const auto first = u_tempFileUrl().path();
  EXPECT_EQ(dataFolder(), stringByDeletingLastPathComponent(first));
  EXPECT_NE(first, u_tempFileUrl().path());
  EXPECT_FALSE(std::filesystem::exists(first));
  ::setenv("TMPDIR", "relative", 1);
  EXPECT_TRUE(u_tempFileUrl().path().starts_with("/tmp/"));
}

TEST_F(FileManagerUtilsTest, SizesAreTheItemsOwn) {
  EXPECT_EQ(5, u_fileSizeOfUrl(url(path_)));
  std::filesystem::create_symlink(path_, dataFolder() + "/link");
  EXPECT_EQ(std::ssize(path_), u_fileSizeOfUrl(url(dataFolder() + "/link")));
  std::filesystem::resize_file(path_, std::uintmax_t{5} << 32);
  EXPECT_EQ(std::int64_t{5} << 32, u_fileSizeOfUrl(url(path_)));
  EXPECT_EQ(0, u_fileSizeOfUrl(std::nullopt));
  EXPECT_EQ(0, u_fileSizeOfUrl(url(missing_)));
  EXPECT_EQ(0, u_fileSizeOfUrl(url("")));
  EXPECT_EQ(0, u_fileSizeOfUrl(url(withNul_)));
  EXPECT_THAT(host().log(), IsEmpty());
}

TEST_F(FileManagerUtilsTest, TimesAreReadInWholeSecondsOfWhatALinkLeadsTo) {
  const std::timespec times[] = {{1'000'000'001, 900'000'000}, {1'000'000'002, 999'999'999}};
  ASSERT_EQ(0, ::utimensat(AT_FDCWD, path_.c_str(), times, 0));
  std::filesystem::create_symlink(path_, dataFolder() + "/link");
  for (const auto& path : {path_, dataFolder() + "/link"}) {
    EXPECT_EQ(1'000'000'001, secondsOf(u_accessTimeForUrl(url(path))));
    EXPECT_EQ(1'000'000'001, secondsOf(u_accessTimeForPath(path)));
    EXPECT_EQ(1'000'000'002, secondsOf(u_modifiedDateForUrl(url(path))));
  }
  EXPECT_THAT(host().log(), IsEmpty());
}

TEST_F(FileManagerUtilsTest, TimesThatCannotBeReadAreOneWarningEach) {
  EXPECT_FALSE(u_accessTimeForUrl(std::nullopt) || u_accessTimeForPath(std::nullopt));
  EXPECT_FALSE(u_accessTimeForPath(missing_));
  EXPECT_FALSE(u_modifiedDateForUrl(std::nullopt));
  EXPECT_FALSE(u_modifiedDateForUrl(url(path_ + "/below")));
  EXPECT_THAT(host().linesWith(""), ElementsAre("WARN FileManager[ATIME] Cannot stat empty url",
                                                "WARN FileManager[ATIME] Cannot stat empty url",
                                                "WARN FileManager[ATIME] Failed to stat " + missing_ +
                                                    ". Reason: No such file or directory (errno:2)",
                                                "WARN FileManager[MTIME] Cannot stat empty url",
                                                "WARN FileManager[MTIME] Failed to stat " + path_ +
                                                    "/below. Reason: Not a directory (errno:20)"));
  EXPECT_FALSE(u_modifiedDateForUrl(url(withNul_)) || u_modifiedDateForUrl(url(std::string(5000, 'x'))));
}

TEST_F(FileManagerUtilsTest, TheModifiedDateIsSetInWholeSecondsAndTheAccessTimeToNow) {
  const auto before = std::time(nullptr);
  EXPECT_FALSE(u_setModifiedDate(NSDate::since1970(1'000'000'010.9), url(path_), "a file"));
  struct ::stat status {};
  ASSERT_EQ(0, ::stat(path_.c_str(), &status));
  EXPECT_EQ(1'000'000'010, status.st_mtim.tv_sec);
  EXPECT_EQ(0, status.st_mtim.tv_nsec);
  EXPECT_GE(status.st_atim.tv_sec, before);
  EXPECT_EQ(0, status.st_atim.tv_nsec);
  // Before 1970 whole seconds are nearer to it.
  EXPECT_FALSE(u_setModifiedDate(NSDate::since1970(-1.5), std::optional(path_), "a file"));
  EXPECT_EQ(-1, secondsOf(u_modifiedDateForUrl(url(path_))));
  for (const double seconds : {std::nan(""), HUGE_VAL, -HUGE_VAL, 1e300}) {
    EXPECT_FALSE(u_setModifiedDate(NSDate::since1970(seconds), url(path_), "a file")) << seconds;
  }
  EXPECT_THAT(host().log(), IsEmpty());
}

TEST_F(FileManagerUtilsTest, AModifiedDateThatCannotBeSetIsAnErrorAndAWarning) {
  const auto date = NSDate::since1970(1709644029);
  EXPECT_EQ(errorWithPOSIXCode(EFAULT, "Cannot set modified date on nil url for Nice"),
            u_setModifiedDate(date, std::optional<NSURL>(), "Nice"));
  EXPECT_EQ(errorWithPOSIXCode(14, "Cannot set modified date on nil path for Nice"),
            u_setModifiedDate(date, std::optional<std::string>(), "Nice"));
  EXPECT_THAT(host().log(), IsEmpty());
  EXPECT_EQ(errorWithPOSIXCode(ENOENT, "Failed to set modified date"),
            u_setModifiedDate(date, url(missing_), "Nice"));
  EXPECT_THAT(
      host().linesWith(""),
      ElementsAre("WARN FileManager[MTIME] Failed to set modified date 2024-03-05 13:07:09 +0000 for " +
                  missing_ + " (Nice). Reason: No such file or directory (errno:2)"));
  const auto untouched = u_modifiedDateForUrl(url(path_));
  EXPECT_TRUE(u_setModifiedDate(date, url(withNul_), "Nice"));
  EXPECT_EQ(untouched, u_modifiedDateForUrl(url(path_)));
}

}  // namespace
}  // namespace zelto::test
