#include <cstdlib>

#include <gtest/gtest.h>
#include <sys/wait.h>

#include "tests/system/TestSystem.h"

namespace zelto::test {
namespace {

// Real programs at work in the mount; whatever they leave is on the server in the end.
struct ProgramsTest : ::testing::Test {
  TestSystem system;
  fs::path work, elsewhere;  // in the mount; on a disk

  void SetUp() override {
    system.start();
    work = system.mounted();
    elsewhere = system.data() / "elsewhere";
    fs::create_directories(elsewhere);
    // No settings but these: none of the user's, and the same result every time.
    ::setenv("HOME", elsewhere.c_str(), 1);
    ::setenv("GIT_CONFIG_GLOBAL", (elsewhere / "gitconfig").c_str(), 1);
    ::setenv("GIT_CONFIG_NOSYSTEM", "1", 1);
    writeFile(elsewhere / "gitconfig",
              "[user]\nname = Somebody\nemail = somebody@example.org\n[init]\ndefaultBranch = main\n"
              "[safe]\ndirectory = *\n");
  }

  static bool isThere(const std::string& program) {
    return std::system(("command -v " + program + " > /dev/null").c_str()) == 0;
  }
  // Runs a line of shell in a folder; what it prints is told if it fails.
  void run(const fs::path& folder, const std::string& line) {
    const fs::path output = system.data() / "output";
    const std::string whole =
        "cd '" + folder.string() + "' && { set -e; " + line + "\n} > '" + output.string() + "' 2>&1";
    const int status = std::system(whole.c_str());
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << line << "\n" << readFile(output);
  }
  std::string output() { return readFile(system.data() / "output"); }

  void expectAllOnTheServer() {
    const auto failed = system.callManager("Wait", "", {});
    ASSERT_TRUE(failed) << failed.error().localizedDescription();
    EXPECT_EQ(std::get<std::string>(failed->at(0)), "[]");
    EXPECT_EQ(treeDifference(system.mounted(), system.share()), "");
    EXPECT_EQ(system.status().find("conflicts")->integerValue(), 0) << system.extensionErrors();
  }

  // A tree with what trees have, but for links.
  void makeTree(const fs::path& top) {
    for (int folder = 0; folder < 8; ++folder) {
      for (int file = 0; file < 12; ++file) {
        writeFile(top / ("folder " + std::to_string(folder)) / "in" / (std::to_string(file) + ".txt"),
                  std::string(static_cast<std::size_t>(file * file * 997), static_cast<char>('a' + folder)));
      }
    }
    fs::create_directories(top / "empty folder");
    writeFile(top / "ünïcode", "text");
    fs::permissions(top / "ünïcode", fs::perms::owner_all | fs::perms::group_read | fs::perms::others_read);
  }
};

TEST_F(ProgramsTest, GitWorksInTheMount) {
  if (!isThere("git")) GTEST_SKIP() << "git is not installed";
  makeTree(elsewhere / "origin");
  run(elsewhere / "origin",
      "git init -q; git add -A; git commit -qm one; git checkout -qb other; rm -r 'folder 1'; date > new;"
      "git add -A; git commit -qm two; git checkout -q main");
  run(work, "git clone -q '" + (elsewhere / "origin").string() + "' clone");
  run(work / "clone",
      "git status --porcelain > /dev/null; echo changed > ünïcode; git commit -qam three; git gc -q");
  run(work / "clone",
      "git checkout -q other; test -e new; test ! -e 'folder 1'; git checkout -q main; test ! -e new");
  run(work / "clone", "git fsck --full 2> /dev/null; git log --oneline | wc -l; git status --porcelain");
  EXPECT_EQ(output(), "2\n") << "or something is not as it was committed";
  expectAllOnTheServer();
  // What the server has is a repository of its own.
  run(system.share() / "clone", "git fsck --full; git status; git log --oneline | wc -l");
}

TEST_F(ProgramsTest, AProgramIsBuiltAndRunsInTheMount) {
  if (!isThere("make") || !isThere("cc")) GTEST_SKIP() << "make or a compiler is not installed";
  writeFile(work / "project" / "hello.h", "int answer(void);\n");
  writeFile(work / "project" / "answer.c", "#include \"hello.h\"\nint answer(void) { return 42; }\n");
  writeFile(work / "project" / "main.c",
            "#include <stdio.h>\n#include \"hello.h\"\nint main(void) { printf(\"%d\\n\", answer()); return "
            "0; }\n");
  writeFile(work / "project" / "Makefile",
            "hello: main.o answer.o\n\tcc -o $@ $^\nmain.o answer.o: hello.h\n%.o: %.c\n\tcc -c -o $@ $<\n"
            "lib.a: answer.o\n\tar rcs $@ $<\n");
  run(work / "project", "make hello lib.a; ./hello; make hello");
  EXPECT_NE(output().find("42"), std::string::npos);
  EXPECT_NE(output().find("up to date"), std::string::npos) << output();
  run(work / "project", "touch hello.h; make hello");
  EXPECT_NE(output().find("cc -c -o main.o"), std::string::npos) << output();
  expectAllOnTheServer();
}

TEST_F(ProgramsTest, RsyncHasNothingToDoTheSecondTime) {
  if (!isThere("rsync")) GTEST_SKIP() << "rsync is not installed";
  makeTree(elsewhere / "source");
  const std::string source = "'" + (elsewhere / "source").string() + "/'";
  run(work, "rsync -a " + source + " copy/");
  run(work, "rsync -ai " + source + " copy/");
  EXPECT_EQ(output(), "") << "it would transfer that again";
  expectAllOnTheServer();
  EXPECT_EQ(treeDifference(elsewhere / "source", work / "copy"), "");
  // Files alone: the dates of folders may be the server's by now.
  run(work, "rsync -aiO " + source + " copy/");
  EXPECT_EQ(output(), "") << "it would transfer that again, now that the server has it";
}

TEST_F(ProgramsTest, TreesAreUnpackedCopiedMovedAndRemoved) {
  makeTree(elsewhere / "source");
  run(elsewhere, "tar cf archive.tar source");
  run(work, "tar xf '" + (elsewhere / "archive.tar").string() + "'");
  run(work,
      "cp -r source copied; cp -a source kept; mv copied moved; rm -r kept/'folder 3' moved/'folder 4'; "
      "mv kept/'folder 4' moved/");
  run(work, "diff -r '" + (elsewhere / "source").string() +
                "' source; tar cf packed.tar source; tar df packed.tar");
  EXPECT_EQ(treeDifference(elsewhere / "source", work / "source"), "");
  expectAllOnTheServer();
  run(work, "rm -r source moved kept");
  expectAllOnTheServer();
  EXPECT_EQ(names(system.share()), std::vector<std::string>{"packed.tar"});
}

}  // namespace
}  // namespace zelto::test
