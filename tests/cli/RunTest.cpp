#include <fmt/format.h>

#include "cli/Text.h"
#include "tests/cli/RunFixture.h"

namespace zelto::cli {
namespace {

namespace fs = std::filesystem;

class RunTest : public RunFixture {};

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
