#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "framework/domain/GroupDirectory.h"

namespace zelto::test {
namespace {

namespace fs = std::filesystem;

constexpr const char* kTransfer = "0F1E2D3C-4B5A-4697-8877-665544332211";

struct GroupDirectoryTest : ::testing::Test {
  GroupDirectoryTest() {
    std::string pattern = (fs::temp_directory_path() / "zelto-group-XXXXXX").string();
    path = ::mkdtemp(pattern.data());
  }
  ~GroupDirectoryTest() override { fs::remove_all(path); }

  fs::path put(const fs::path& name) const {
    fs::create_directories((path / name).parent_path());
    std::ofstream(path / name) << "bytes";
    return path / name;
  }

  fs::path path;
};

TEST_F(GroupDirectoryTest, RemovesTransfersAndNothingElse) {
  const auto transfer = put(kTransfer);
  const auto ofTheHost = put(fs::path("host") / kTransfer);
  const auto longer = put(std::string(kTransfer) + ".txt");
  const auto other = put("0F1E2D3C_4B5A_4697_8877_665544332211");
  const fs::path folder = path / "1F1E2D3C-4B5A-4697-8877-665544332211";
  const fs::path link = path / "2F1E2D3C-4B5A-4697-8877-665544332211";
  fs::create_directory(folder);
  fs::create_symlink(other, link);
  const GroupDirectory group(path);
  EXPECT_FALSE(fs::exists(transfer));
  for (const auto& kept : {ofTheHost, longer, other, folder, link}) EXPECT_TRUE(fs::exists(kept)) << kept;
}

TEST_F(GroupDirectoryTest, RemovesNothingWhileAnotherOneIsThere) {
  std::optional<GroupDirectory> first(path);
  const auto transfer = put(kTransfer);
  std::optional<GroupDirectory> second(path);
  const GroupDirectory third(path);
  first.reset();
  EXPECT_TRUE(fs::exists(transfer));
  const GroupDirectory fourth(path);  // the second and the third are there
  EXPECT_TRUE(fs::exists(transfer));
}

TEST_F(GroupDirectoryTest, WhatAKilledOneLeavesIsRemovedByTheNext) {
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    const GroupDirectory group(path);
    put(kTransfer);
    static_cast<void>(::write(ready[1], "x", 1));
    for (;;) ::pause();
  }
  char byte = 0;
  ASSERT_EQ(::read(ready[0], &byte, 1), 1);
  std::optional<GroupDirectory> whileItLives(path);
  EXPECT_TRUE(fs::exists(path / kTransfer));
  whileItLives.reset();
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  EXPECT_TRUE(fs::exists(path / kTransfer));
  const GroupDirectory next(path);
  EXPECT_FALSE(fs::exists(path / kTransfer));
}

}  // namespace
}  // namespace zelto::test
