#include <sys/stat.h>

#include "cli/Text.h"
#include "tests/cli/RunFixture.h"

namespace zelto::cli {
namespace {

namespace fs = std::filesystem;

// Nobody can give a file on the server a name of this kind: the host keeps it for what it has in the making.
constexpr const char* kRefused = ".zelto-upload-0D5A1C2E-7B1F-4C60-9A57-3E1D2B4C5F60";

constexpr const char* kTaken = "taken";

class RunChangesTest : public RunFixture {
 protected:
  void SetUp() override {
    RunFixture::SetUp();
    if (IsSkipped()) return;
    fs::create_directories(home_ / "shares/share");
    ASSERT_EQ(0, zelto("up " + (home_ / "shares")).code);
  }
  std::string share() const { return mount() + "/share"; }
  std::string server(const std::string& name) const { return home_ / ("shares/share/" + name); }
  NSDictionary firstPending() {
    const auto parsed = NSJSONSerialization::valueWithString(zelto("pending --json").output);
    const bool any = parsed && parsed->asArray() != nullptr && !parsed->asArray()->empty();
    return any ? *parsed->asArray()->front().asDictionary() : NSDictionary();
  }
};

TEST_F(RunChangesTest, ChangesAreWaitedForAndFailuresTold) {
  test::writeText(share() + "/folder/file", "content");
  const Result waited = zelto("wait");
  EXPECT_EQ(0, waited.code) << waited.output;
  EXPECT_EQ("The server has everything.\n", waited.output);
  EXPECT_EQ("content", test::contentOf(server("folder/file")));
  EXPECT_EQ("The server has everything.\n", zelto("pending").output);
  EXPECT_EQ("[]\n", zelto("pending --json").output);

  // What is no file, folder or link is not shown, and keeps its place.
  ASSERT_EQ(0, ::mkfifo(server(kTaken).c_str(), 0600));
  test::writeText(share() + "/" + kTaken, "x");
  const Result failed = zelto("wait");
  EXPECT_EQ(1, failed.code);
  EXPECT_TRUE(failed.output.contains(share() + "/" + kTaken + ": ")) << failed.output;
  EXPECT_EQ("failed", textField(firstPending(), "state"));
  EXPECT_TRUE(zelto("pending").output.contains(kTaken));
  EXPECT_TRUE(zelto("status").output.contains("1 failed")) << zelto("status").output;
  EXPECT_EQ(0, zelto("retry").code);
  EXPECT_EQ(0, zelto("retry '" + share() + "/" + kTaken + "'").code);
  EXPECT_EQ(1, zelto("retry '" + share() + "/folder/file'").code);
  EXPECT_EQ(0, zelto("cancel '" + share() + "/" + kTaken + "'").code);
  EXPECT_FALSE(fs::exists(share() + "/" + kTaken));
  EXPECT_EQ(1, zelto("cancel --yes '" + share() + "/folder/file'").code);
  EXPECT_EQ(0, zelto("wait").code);
}

TEST_F(RunChangesTest, WaitingEndsInTimeAndGoesOnAfterwards) {
  const auto host = static_cast<pid_t>(numberField(objectField(status(), "host"), "pid"));
  ASSERT_GT(host, 0);
  fs::create_directory(share() + "/first");
  ASSERT_EQ(0, zelto("wait").code);
  ::kill(host, SIGSTOP);
  test::writeText(share() + "/file", "late");
  const Result waited = zelto("wait --timeout 0.2");
  ::kill(host, SIGCONT);
  EXPECT_EQ(5, waited.code) << waited.output;
  EXPECT_TRUE(waited.output.contains("1 left")) << waited.output;
  EXPECT_EQ(0, zelto("wait --timeout 60").code);
  EXPECT_EQ("late", test::contentOf(server("file")));
}

TEST_F(RunChangesTest, AnImportEndsWithTheWholeTreeOrNamesWhatFailed) {
  test::writeText(home_ / "tree/folder/file", "12345");
  test::writeText(home_ / "tree/other", "");
  const Result imported = zelto("import " + (home_ / "tree/") + " " + share());
  EXPECT_EQ(0, imported.code) << imported.output;
  // Before it there may be a line that says that the extension's walk stood still.
  EXPECT_TRUE(imported.output.ends_with("tree  5 B, 3 entries\n")) << imported.output;
  EXPECT_EQ("12345", test::contentOf(server("tree/folder/file")));
  EXPECT_EQ("12345", test::contentOf(share() + "/tree/folder/file"));

  test::writeText((home_ / "tree/folder/") + kRefused, "x");
  const Result failed = zelto("import " + (home_ / "tree") + " " + share());
  EXPECT_EQ(1, failed.code);
  EXPECT_TRUE(failed.output.contains("folder/" + std::string(kRefused) + ": ")) << failed.output;
  EXPECT_EQ(1, zelto("import " + (home_ / "missing") + " " + share()).code);
  EXPECT_EQ(1, zelto("import " + (home_ / "tree") + " " + share() + "/missing").code);
}

TEST_F(RunChangesTest, AnInterruptedImportIsGoneWhenTheCommandEnds) {
  for (int file = 0; file < 300; ++file) {
    test::writeText(home_ / ("tree/file" + std::to_string(file)), std::string(1000, 'x'));
  }
  const std::string command = "import " + (home_ / "tree") + " " + share();
  // The signal comes once the server has the first file, unless all of them were faster.
  const Result stopped =
      call("{ until ls " + server("tree") +
           " 2>/dev/null | grep -q file || ! kill -0 $$; do :; done; kill -INT $$; } & exec " +
           std::string(ZELTO_BINARIES) + "/zelto " + command);
  EXPECT_TRUE(stopped.code == 130 || stopped.code == 0) << stopped.output;
  const Result imported = zelto(command);
  EXPECT_EQ(0, imported.code) << imported.output;
  EXPECT_EQ("1000", std::to_string(test::contentOf(server("tree/file299")).size()));
  EXPECT_EQ(300, std::distance(fs::directory_iterator(server("tree")), fs::directory_iterator()));
}

}  // namespace
}  // namespace zelto::cli
