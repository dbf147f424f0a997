#pragma once

#include <algorithm>
#include <csignal>
#include <cstdio>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "cli/JsonFields.h"
#include "cli/Mounts.h"
#include "cli/ProcessIdentity.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "tests/cli/TemporaryHome.h"

namespace zelto::cli {

struct Result {
  int code = -1;
  std::string output;  // standard output and error
};

// The real program with the real processes, without any bus beforehand.
class RunFixture : public testing::Test {
 protected:
  void SetUp() override {
    if (::access("/dev/fuse", R_OK | W_OK) != 0) GTEST_SKIP() << "/dev/fuse cannot be used here";
  }
  void TearDown() override { zelto("down"); }

  static Result call(const std::string& command) {
    FILE* pipe = ::popen((command + " 2>&1 </dev/null").c_str(), "r");
    Result result;
    char block[4096];
    std::size_t size = 0;
    while ((size = std::fread(block, 1, sizeof block, pipe)) > 0) result.output.append(block, size);
    result.code = WEXITSTATUS(::pclose(pipe));
    return result;
  }
  static Result zelto(const std::string& arguments) {
    return call(std::string(ZELTO_BINARIES) + "/zelto " + arguments);
  }
  NSDictionary status() {
    const std::string output = zelto("status --json").output;
    const auto parsed = NSJSONSerialization::valueWithString(output.substr(0, output.rfind('}') + 1));
    return parsed && parsed->asDictionary() != nullptr ? *parsed->asDictionary() : NSDictionary();
  }
  void killHalf(const char* half) {
    const auto pid = static_cast<pid_t>(numberField(objectField(status(), half), "pid"));
    ASSERT_GT(pid, 0);
    const auto process = identityOf(pid);
    ASSERT_TRUE(process);
    ::kill(pid, SIGKILL);
    ASSERT_TRUE(waitForEnd(*process, std::chrono::seconds(10)));
  }
  // The processes whose command line names this test's folder.
  std::vector<std::string> ownProcesses() {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
      std::string command = test::contentOf(entry.path() / "cmdline");
      std::ranges::replace(command, '\0', ' ');
      if (command.contains(home_.path().string())) found.push_back(command);
    }
    return found;
  }
  void expectNothingLeft() {
    EXPECT_EQ(std::vector<std::string>{}, ownProcesses());
    EXPECT_FALSE(mountAt(mount()));
    EXPECT_FALSE(std::filesystem::exists(mount()));
    EXPECT_FALSE(std::filesystem::exists(home_ / "run"));
  }
  std::string mount() const { return home_ / "Zelto"; }

  test::TemporaryHome home_;
};

}  // namespace zelto::cli
