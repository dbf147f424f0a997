#include <algorithm>
#include <csignal>
#include <cstdio>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "cli/JsonFields.h"
#include "cli/Mounts.h"
#include "cli/ProcessIdentity.h"
#include "cli/Text.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "tests/cli/TemporaryHome.h"

namespace zelto::cli {
namespace {

namespace fs = std::filesystem;

struct Result {
  int code = -1;
  std::string output;  // standard output and error
};

// The real program with the real processes, without any bus beforehand.
class RunTest : public testing::Test {
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
    for (const auto& entry : fs::directory_iterator("/proc")) {
      std::string command = test::contentOf(entry.path() / "cmdline");
      std::ranges::replace(command, '\0', ' ');
      if (command.contains(home_.path().string())) found.push_back(command);
    }
    return found;
  }
  void expectNothingLeft() {
    EXPECT_EQ(std::vector<std::string>{}, ownProcesses());
    EXPECT_FALSE(mountAt(mount()));
    EXPECT_FALSE(fs::exists(mount()));
    EXPECT_FALSE(fs::exists(home_ / "run"));
  }
  std::string mount() const { return home_ / "Zelto"; }

  test::TemporaryHome home_;
};

TEST_F(RunTest, UpShowsTheSampleAndDownLeavesNothing) {
  const Result up = zelto("up");
  ASSERT_EQ(0, up.code) << up.output;
  EXPECT_TRUE(up.output.contains(mount()));
  EXPECT_EQ(test::contentOf(home_ / "data/sample/Documents/Welcome.txt"),
            test::contentOf(mount() + "/Documents/Welcome.txt"));

  const Result again = zelto("up");
  EXPECT_EQ(0, again.code);
  EXPECT_TRUE(again.output.contains("running already")) << again.output;
  EXPECT_EQ(4, zelto("up /tmp").code);
  EXPECT_TRUE(flagField(status(), "running"));

  const Result fetch = zelto("fetch '" + mount() + "/Documents/Big.dat' '" + mount() + "/missing'");
  EXPECT_EQ(1, fetch.code);
  EXPECT_TRUE(fetch.output.contains("Big.dat  8.0 MiB\n")) << fetch.output;
  EXPECT_TRUE(zelto("ls " + mount() + "/Documents").output.contains("here          8.0 MiB")) << "fetched";
  EXPECT_EQ("{\"freed\": 8388608}\n", zelto("evict --json " + mount() + "/Documents/Big.dat").output);
  EXPECT_EQ(0, zelto("mode --my-files on").code);
  EXPECT_TRUE(flagField(objectField(status(), "host"), "useMyFiles"));
  EXPECT_FALSE(zelto("log -n 5").output.empty());

  const Result down = zelto("down");
  EXPECT_EQ(0, down.code) << down.output;
  expectNothingLeft();
  EXPECT_EQ(0, zelto("down").code);
  EXPECT_EQ(3, zelto("status").code);
  EXPECT_EQ(3, zelto("ls " + mount()).code);
  fs::remove(home_ / "run");

  EXPECT_EQ(0, zelto("down --purge").code);
  EXPECT_FALSE(fs::exists(home_ / "data"));
}

TEST_F(RunTest, ADeadHalfIsStartedAgain) {
  ASSERT_EQ(0, zelto("up").code);
  killHalf("fileSystem");
  EXPECT_EQ(1, zelto("status").code);
  Result up = zelto("up");
  EXPECT_EQ(0, up.code) << up.output;
  EXPECT_TRUE(up.output.contains("the file system was gone"));
  EXPECT_TRUE(fs::exists(mount() + "/Documents/Welcome.txt"));

  killHalf("host");
  up = zelto("up");
  EXPECT_EQ(0, up.code) << up.output;
  EXPECT_TRUE(up.output.contains("the host application was gone"));
  EXPECT_TRUE(flagField(status(), "running"));
  EXPECT_EQ(0, zelto("down").code);
  expectNothingLeft();
}

TEST_F(RunTest, CleansUpAfterACrash) {
  ASSERT_EQ(0, zelto("up").code);
  killHalf("host");
  killHalf("fileSystem");
  ASSERT_TRUE(mountAt(mount())) << "a dead mount stays behind";
  Result next = zelto("up");
  EXPECT_EQ(0, next.code) << next.output;
  EXPECT_TRUE(fs::exists(mount() + "/Documents/Welcome.txt"));

  // Everything dies, and the record with it.
  killHalf("host");
  killHalf("fileSystem");
  fs::remove(home_ / "run/run-default.json");
  next = zelto("up");
  EXPECT_EQ(0, next.code) << next.output;
  EXPECT_TRUE(fs::exists(mount() + "/Documents/Welcome.txt"));

  killHalf("host");
  killHalf("fileSystem");
  EXPECT_EQ(0, zelto("down").code);
  EXPECT_FALSE(mountAt(mount()));
  EXPECT_EQ(std::vector<std::string>{}, ownProcesses());
}

TEST_F(RunTest, RefusesAPlaceThatIsInUse) {
  test::writeText(home_ / "Zelto/precious", "mine");
  const Result up = zelto("up");
  EXPECT_EQ(4, up.code);
  EXPECT_TRUE(up.output.contains("not empty")) << up.output;
  EXPECT_EQ("mine", test::contentOf(home_ / "Zelto/precious"));
  EXPECT_EQ(2, zelto("up " + (home_ / "Zelto") + " --mount " + (home_ / "Zelto/inner")).code);
  EXPECT_EQ(2, zelto("up /nonexistent").code);
  EXPECT_EQ(std::vector<std::string>{}, ownProcesses());
}

TEST_F(RunTest, TwoDomainsShareOneBus) {
  ASSERT_EQ(0, zelto("up").code);
  fs::create_directories(home_ / "shares/One");
  const Result second = zelto("up " + (home_ / "shares") + " --domain second --mount " + (home_ / "two"));
  ASSERT_EQ(0, second.code) << second.output;
  EXPECT_TRUE(fs::exists(home_ / "two/One"));
  EXPECT_EQ(0, zelto("down --domain second").code);
  EXPECT_FALSE(fs::exists(home_ / "two"));
  EXPECT_TRUE(fs::exists(mount() + "/Documents/Welcome.txt"));
  EXPECT_EQ(0, zelto("down").code);
  expectNothingLeft();
}

// A program that ends at once: what it said is told, and nothing stays behind.
TEST_F(RunTest, AFailedStartIsUndone) {
  const std::string programs = home_ / "bin";
  fs::create_directories(programs);
  fs::copy(std::string(ZELTO_BINARIES) + "/zelto", programs);
  EXPECT_TRUE(call(programs + "/zelto up").output.contains("zelto-host is missing"));
  for (const char* name : {"/zelto-host", "/zelto-fileprovider"}) {
    test::writeText(programs + name, "#!/bin/sh\necho no such luck\nexit 1\n");
    fs::permissions(programs + name, fs::perms::owner_all);
  }
  const Result up = call(programs + "/zelto up");
  EXPECT_EQ(1, up.code);
  EXPECT_TRUE(up.output.contains("no such luck")) << up.output;
  expectNothingLeft();
}

}  // namespace
}  // namespace zelto::cli
