#include <gtest/gtest.h>

#include "cli/MountPoint.h"
#include "tests/cli/TemporaryHome.h"

namespace zelto::cli {
namespace {

TEST(Mounts, AreReadFromTheKernelsTable) {
  const auto mounts = parseMounts(
      "22 1 254:0 / / rw,relatime - ext4 /dev/vda rw\n"
      "nonsense\n"
      "30 22 0:44 / /tmp/a\\040b\\134c ro shared:5 master:1 - fuse.zelto zelto ro,user_id=0\n"
      "31 22 0:45 / /short -\n"
      "32 22 0:46 / /bad\\9 rw - tmpfs tmpfs rw");
  ASSERT_EQ(3U, mounts.size());
  EXPECT_EQ("/", mounts[0].point);
  EXPECT_FALSE(mounts[0].isOurs());
  EXPECT_EQ("/tmp/a b\\c", mounts[1].point);
  EXPECT_EQ("zelto", mounts[1].source);
  EXPECT_TRUE(mounts[1].isOurs());
  EXPECT_EQ("/bad\\9", mounts[2].point);
  EXPECT_TRUE(mountAt("/proc"));
  EXPECT_FALSE(mountAt("/proc/self"));
}

TEST(Mounts, AnswerOrNot) {
  EXPECT_EQ(MountAnswer::answers, askMount("/proc", std::chrono::seconds(10)));
  EXPECT_EQ(MountAnswer::refuses, askMount("/nonexistent", std::chrono::seconds(10)));
}

TEST(MountPoint, IsJudgedByWhatIsThere) {
  const Mount ours{"/m", "fuse.zelto", "zelto"};
  EXPECT_EQ(MountPointUse::make, judgeMountPoint("/m", {}));
  EXPECT_EQ(MountPointUse::take, judgeMountPoint("/m", {.exists = true, .isFolder = true, .isEmpty = true}));
  EXPECT_EQ(MountPointUse::clearStaleMount, judgeMountPoint("/m", {.mount = ours, .processGone = true}));
  for (const MountPointFinding& finding :
       {MountPointFinding{.mount = ours}, MountPointFinding{.exists = true},
        MountPointFinding{.exists = true, .isFolder = true},
        MountPointFinding{.mount = Mount{"/m", "ext4", "x"}}}) {
    const auto use = judgeMountPoint("/m", finding);
    ASSERT_FALSE(use);
    EXPECT_EQ(ExitCode::conflict, use.error().code);
    EXPECT_NE(std::string::npos, use.error().message.find("--mount"));
  }
}

TEST(MountPoint, IsMadeAndRemovedOnlyIfWeMadeIt) {
  const test::TemporaryHome home;
  const std::string fresh = home / "a/b";
  EXPECT_EQ(true, prepareMountPoint(fresh, false));
  EXPECT_EQ(false, prepareMountPoint(fresh, false));
  EXPECT_TRUE(releaseMountPoint(fresh, false));
  EXPECT_TRUE(std::filesystem::exists(fresh));
  EXPECT_TRUE(releaseMountPoint(fresh, true));
  EXPECT_FALSE(std::filesystem::exists(fresh));

  test::writeText(home / "full/file", "precious");
  EXPECT_FALSE(prepareMountPoint(home / "full", false));
  EXPECT_TRUE(releaseMountPoint(home / "full", true));
  EXPECT_EQ("precious", test::contentOf(home / "full/file"));
  EXPECT_FALSE(prepareMountPoint(home / "full/file", false));
  EXPECT_FALSE(prepareMountPoint(home / "full/file/below", false));
}

TEST(MountPoint, PathsAreNamedAsTheKernelDoes) {
  const test::TemporaryHome home;
  std::filesystem::create_directories(home / "real/inner");
  std::filesystem::create_directory_symlink("real", home / "link");
  EXPECT_EQ(home / "real/new", resolvedPath(home / "link/new"));
  EXPECT_EQ(home / "real/inner", resolvedPath(home / "link/./inner//"));
  EXPECT_EQ(home / "missing/x", resolvedPath(home / "missing/y/../x"));
  EXPECT_EQ("/", resolvedPath("/"));
  std::filesystem::current_path(home.path());
  EXPECT_EQ(home / "real/new", resolvedPath("link/new"));
  // The last component may be a symbolic link of the file system itself and stays one.
  EXPECT_EQ(home / "link", resolvedPath("link"));
  EXPECT_EQ(home / "Zelto", defaultMountPoint());
}

}  // namespace
}  // namespace zelto::cli
