#include <cstdlib>
#include <filesystem>
#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/foundation/FileCopy.h"
#include "platform/foundation/NSFileManager.h"
#include "tests/foundation/TemporaryFolder.h"

namespace zelto {
namespace {

using testing::AllOf;
using testing::HasSubstr;

class NSFileManagerTest : public testing::Test {
 protected:
  NSURL url(std::string_view name) const { return NSURL::fileURL(folder_.path(name)); }
  mode_t modeOf(const std::string& path) const {
    struct ::stat status {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
  }

  TemporaryFolder folder_;
  NSFileManager& manager_ = NSFileManager::defaultManager();
};

TEST_F(NSFileManagerTest, linksAndMovesWithoutReplacing) {
  folder_.write("a", "one");
  folder_.write("taken", "two");
  EXPECT_FALSE(manager_.linkItem(url("a"), url("b")));
  EXPECT_EQ(std::filesystem::hard_link_count(folder_.path("a")), 2U);
  EXPECT_FALSE(manager_.moveItem(url("a"), url("c")));
  EXPECT_FALSE(manager_.fileExists(url("a")));
  EXPECT_EQ(manager_.moveItem(url("c"), url("taken"))->code(), 516);
  EXPECT_EQ(manager_.linkItem(url("c"), url("taken"))->code(), 516);
  EXPECT_EQ(contentOf(folder_.path("taken")), "two");
  EXPECT_EQ(contentOf(folder_.path("c")), "one");
}

TEST_F(NSFileManagerTest, errorsNameThePathAndTheReason) {
  const auto error = manager_.moveItem(url("missing"), url("x"));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain(), NSCocoaErrorDomain);
  EXPECT_EQ(error->code(), 4);
  EXPECT_THAT(error->localizedDescription(),
              AllOf(HasSubstr(folder_.path("missing")), HasSubstr("No such file")));
  EXPECT_EQ(manager_.linkItem(url("missing"), url("x"))->code(), 4);
  EXPECT_EQ(manager_.removeItem(url("missing"))->code(), 4);
  EXPECT_EQ(manager_.linkItem(NSURL::fileURL(folder_.path()), url("x"))->code(), 513)
      << "folders have one name";
  EXPECT_EQ(manager_.createDirectory(NSURL::fileURL(folder_.path(std::string(300, 'n'))), false)->code(),
            512);
}

TEST_F(NSFileManagerTest, tellsFilesFromFoldersAndMakesEmptyFiles) {
  folder_.write("d/f", "text");
  std::filesystem::create_symlink("d", folder_.path("link"));
  bool isDirectory = false;
  EXPECT_TRUE(manager_.fileExists(url("link"), isDirectory) && isDirectory);
  EXPECT_TRUE(manager_.fileExists(url("d/f"), isDirectory) && !isDirectory);
  isDirectory = true;
  EXPECT_FALSE(manager_.fileExists(url("missing"), isDirectory) || isDirectory);
  EXPECT_TRUE(manager_.createFileAtPath(folder_.path("d/f")));
  EXPECT_EQ(contentOf(folder_.path("d/f")), "");
  EXPECT_FALSE(manager_.createFileAtPath(folder_.path("missing/f")));
  EXPECT_FALSE(manager_.createFileAtPath(folder_.path("d")));
}

TEST_F(NSFileManagerTest, enumeratesFoldersBeforeTheirEntriesAndFollowsNoLink) {
  folder_.write("t/a/b/deep", "12345");
  folder_.write("t/a/file", "1");
  std::filesystem::create_directory_symlink(folder_.path(), folder_.path("t/loop"));
  std::filesystem::create_symlink("nowhere", folder_.path("t/a/dangling"));
  ASSERT_EQ(::mkfifo(folder_.path("t/pipe").c_str(), 0600), 0);
  auto entries = manager_.enumeratorAtPath(folder_.path("t"));
  std::map<std::string, std::pair<std::string_view, std::uint64_t>> seen;
  while (auto entry = entries.nextObject()) {
    const auto parent = std::filesystem::path(*entry).parent_path().native();
    EXPECT_TRUE(parent.empty() || seen.contains(parent)) << *entry;
    seen[*entry] = {entries.fileAttributes().fileType, entries.fileAttributes().fileSize};
    // An import moves each file away as it comes to it.
    if (entries.fileAttributes().fileType == NSFileTypeRegular) {
      std::filesystem::remove(folder_.path("t/" + *entry));
    }
  }
  EXPECT_EQ(seen.size(), 7U);
  EXPECT_EQ(seen["a"].first, NSFileTypeDirectory);
  EXPECT_EQ(seen["a/b"].first, NSFileTypeDirectory);
  EXPECT_EQ(seen["a/b/deep"], std::pair(NSFileTypeRegular, std::uint64_t{5}));
  EXPECT_EQ(seen["a/file"].second, 1U);
  EXPECT_EQ(seen["loop"].first, NSFileTypeSymbolicLink);
  EXPECT_EQ(seen["a/dangling"].first, NSFileTypeSymbolicLink);
  EXPECT_EQ(seen["pipe"].first, NSFileTypeUnknown);
  EXPECT_FALSE(entries.nextObject());
  EXPECT_FALSE(manager_.enumeratorAtPath(folder_.path("missing")).nextObject());
}

TEST_F(NSFileManagerTest, createsAndRemovesFolders) {
  EXPECT_EQ(manager_.createDirectory(url("a/b/c"), false)->code(), 4);
  EXPECT_FALSE(manager_.createDirectory(url("a/b/c"), true));
  EXPECT_FALSE(manager_.createDirectory(url("a/b/c"), true));
  EXPECT_EQ(manager_.createDirectory(url("a"), false)->code(), 516);
  folder_.write("a/file", "x");
  EXPECT_EQ(manager_.createDirectory(url("a/file"), true)->code(), 516);
  EXPECT_EQ(manager_.createDirectory(url("a/file/d"), true)->code(), 4);
  EXPECT_FALSE(manager_.removeItem(url("a")));
  EXPECT_FALSE(manager_.fileExists(url("a")));
}

TEST_F(NSFileManagerTest, removesALinkButNotItsTarget) {
  folder_.write("target/file", "x");
  std::filesystem::create_symlink(folder_.path("target"), folder_.path("link"));
  std::filesystem::create_symlink(folder_.path("nowhere"), folder_.path("broken"));
  EXPECT_FALSE(manager_.fileExists(url("broken")));
  EXPECT_FALSE(manager_.removeItem(url("link")));
  EXPECT_FALSE(manager_.removeItem(url("broken")));
  EXPECT_TRUE(manager_.fileExists(url("target/file")));
}

TEST_F(NSFileManagerTest, copiesBetweenVolumesWithTimesAndLinks) {
  folder_.write("from/sub/run.sh", "#!");
  std::filesystem::permissions(folder_.path("from/sub/run.sh"), std::filesystem::perms::owner_all);
  std::filesystem::create_symlink("../nowhere", folder_.path("from/link"));
  const auto longAgo = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1000);
  std::filesystem::last_write_time(folder_.path("from/sub/run.sh"), longAgo);
  std::filesystem::last_write_time(folder_.path("from/sub"), longAgo);
  EXPECT_EQ(copyThenRemove(folder_.path("from"), folder_.path("to")), 0);
  EXPECT_FALSE(manager_.fileExists(url("from")));
  EXPECT_EQ(contentOf(folder_.path("to/sub/run.sh")), "#!");
  EXPECT_EQ(modeOf(folder_.path("to/sub/run.sh")), 0700U);
  EXPECT_EQ(std::filesystem::read_symlink(folder_.path("to/link")), "../nowhere");
  EXPECT_EQ(std::filesystem::last_write_time(folder_.path("to/sub/run.sh")), longAgo);
  EXPECT_EQ(std::filesystem::last_write_time(folder_.path("to/sub")), longAgo);
}

TEST_F(NSFileManagerTest, aFailedCopyLeavesTheSourceAndNoHalf) {
  folder_.write("from/a", "x");
  ASSERT_EQ(::mkfifo(folder_.path("from/pipe").c_str(), 0600), 0);
  folder_.write("taken", "y");
  EXPECT_NE(copyThenRemove(folder_.path("from"), folder_.path("to")), 0);
  EXPECT_FALSE(manager_.fileExists(url("to")));
  EXPECT_EQ(contentOf(folder_.path("from/a")), "x");
  EXPECT_EQ(copyThenRemove(folder_.path("from/a"), folder_.path("taken")), EEXIST);
  EXPECT_EQ(contentOf(folder_.path("taken")), "y");
}

TEST_F(NSFileManagerTest, groupContainersLieInTheDataHome) {
  ::setenv("ZELTO_DATA_HOME", folder_.path("data").c_str(), 1);
  const auto container = manager_.containerURLForSecurityApplicationGroupIdentifier("AB12.com.example");
  ASSERT_TRUE(container);
  EXPECT_TRUE(container->path().starts_with(folder_.path("data/")));
  EXPECT_EQ(modeOf(container->path()), 0700U);
  EXPECT_EQ(manager_.containerURLForSecurityApplicationGroupIdentifier("AB12.com.example"), container);
  for (const char* identifier : {"", ".", "..", "a/b"}) {
    EXPECT_FALSE(manager_.containerURLForSecurityApplicationGroupIdentifier(identifier));
  }
  folder_.write("file", "");
  ::setenv("ZELTO_DATA_HOME", folder_.path("file").c_str(), 1);
  EXPECT_FALSE(manager_.containerURLForSecurityApplicationGroupIdentifier("AB12.com.example"));
}

TEST_F(NSFileManagerTest, findsItsFoldersFromTheEnvironment) {
  ::unsetenv("ZELTO_DATA_HOME");
  ::unsetenv("XDG_DATA_HOME");
  ::setenv("HOME", "/home/someone", 1);
  EXPECT_EQ(dataHome(), "/home/someone/.local/share/zelto");
  ::setenv("XDG_DATA_HOME", "relative", 1);
  EXPECT_EQ(dataHome(), "/home/someone/.local/share/zelto");
  ::setenv("XDG_DATA_HOME", "/xdg/", 1);
  EXPECT_EQ(dataHome(), "/xdg/zelto");
  ::setenv("ZELTO_DATA_HOME", "/own", 1);
  EXPECT_EQ(dataHome(), "/own");

  ::unsetenv("ZELTO_RUNTIME_DIR");
  ::setenv("XDG_RUNTIME_DIR", folder_.path("run").c_str(), 1);
  EXPECT_EQ(runtimeDirectory(), folder_.path("run/zelto"));
  EXPECT_EQ(modeOf(runtimeDirectory()), 0700U);
  ::setenv("ZELTO_RUNTIME_DIR", folder_.path("mine").c_str(), 1);
  EXPECT_EQ(runtimeDirectory(), folder_.path("mine"));
}

}  // namespace
}  // namespace zelto
