#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "cli/DetachedProcess.h"
#include "cli/ProcessIdentity.h"
#include "cli/RunRecord.h"
#include "tests/cli/TemporaryHome.h"

namespace zelto::cli {
namespace {

constexpr std::chrono::milliseconds kPatience{10000};

// A child that does nothing, deaf to SIGTERM if asked; it is ready when the constructor returns.
class Child {
 public:
  explicit Child(bool deaf = false) {
    int ends[2];
    EXPECT_EQ(0, ::pipe(ends));
    pid_ = ::fork();
    if (pid_ == 0) {
      ::signal(SIGTERM, deaf ? SIG_IGN : SIG_DFL);
      ::close(ends[0]);
      ::close(ends[1]);
      while (true) ::pause();
    }
    ::close(ends[1]);
    char nothing = 0;
    EXPECT_EQ(0, ::read(ends[0], &nothing, 1));
    ::close(ends[0]);
  }
  ~Child() {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  pid_t pid() const { return pid_; }

 private:
  pid_t pid_;
};

TEST(ProcessIdentity, IsEndedByTermOrKill) {
  for (const bool deaf : {false, true}) {
    const Child child(deaf);
    const auto identity = identityOf(child.pid());
    ASSERT_TRUE(identity);
    EXPECT_TRUE(isRunning(*identity));
    EXPECT_FALSE(waitForEnd(*identity, std::chrono::milliseconds(1)));
    EXPECT_TRUE(endProcess(*identity, std::chrono::milliseconds(deaf ? 50 : 10000)));
    EXPECT_FALSE(isRunning(*identity)) << "nobody has collected it yet, but it has ended";
    EXPECT_TRUE(waitForEnd(*identity, kPatience));
  }
}

TEST(ProcessIdentity, NeverEndsAStranger) {
  const Child stranger;
  const auto real = identityOf(stranger.pid());
  ASSERT_TRUE(real);
  auto earlier = *real;
  earlier.startTime -= 1;
  auto otherBoot = *real;
  otherBoot.boot = "another";
  for (const ProcessIdentity& wrong :
       {earlier, otherBoot, ProcessIdentity{}, ProcessIdentity{-1, 0, real->boot}}) {
    EXPECT_FALSE(isRunning(wrong));
    EXPECT_TRUE(endProcess(wrong, std::chrono::milliseconds(0)));
  }
  EXPECT_TRUE(isRunning(*real));
  EXPECT_FALSE(identityOf(0));
  EXPECT_FALSE(identityOf(-1));
}

TEST(DetachedProcess, HasNothingOfOurs) {
  const test::TemporaryHome home;
  const int inherited = ::open("/dev/null", O_RDONLY);  // without close-on-exec, as a careless library has it
  ASSERT_GE(inherited, 3);
  ::setenv("KEPT", "kept", 1);
  ::setenv("REPLACED", "old", 1);
  const std::string output = home / "output";
  const std::string script =
      "echo $KEPT $REPLACED \"$1\"; pwd; test -e /proc/$$/fd/$2 && echo inherited; "
      "cut -d' ' -f6 /proc/$$/stat; readlink /proc/$$/fd/0; echo $$ >&2";
  const auto process =
      startDetached({"sh", {"-c", script, "sh", "a b", std::to_string(inherited)}, {"REPLACED=new"}, output});
  ASSERT_TRUE(process) << process.error().message;
  EXPECT_TRUE(waitForEnd(*process, kPatience));
  EXPECT_EQ(fmt::format("kept new a b\n/\n{0}\n/dev/null\n{0}\n", process->pid), test::contentOf(output));
  ::waitpid(process->pid, nullptr, 0);
  ::close(inherited);
}

TEST(DetachedProcess, SaysWhyItCannotStart) {
  const test::TemporaryHome home;
  const auto missing = startDetached({home / "missing", {}, {}, home / "output"});
  ASSERT_FALSE(missing);
  EXPECT_NE(std::string::npos, missing.error().message.find("No such file"));
  EXPECT_FALSE(startDetached({"true", {}, {}, home / "no/such/folder"}));
}

TEST(RunRecord, ComesBackAsItWas) {
  const test::TemporaryHome home;
  EXPECT_FALSE(loadRunRecord("work"));
  EXPECT_TRUE(recordedDomains().empty());
  const RunRecord record{"work",         "/srv/grün",         "/m", true, false, std::nullopt,
                         "unix:path=/x", {7, 1U << 31U, "b"}, {}};
  ASSERT_TRUE(saveRunRecord(record));
  const auto loaded = loadRunRecord("work");
  ASSERT_TRUE(loaded);
  EXPECT_EQ(record.folder, loaded->folder);
  EXPECT_EQ(record.mountPoint, loaded->mountPoint);
  EXPECT_TRUE(loaded->mountPointMade);
  EXPECT_EQ(record.myFiles, loaded->myFiles);
  EXPECT_EQ(record.offlineFiles, loaded->offlineFiles);
  EXPECT_EQ(record.busAddress, loaded->busAddress);
  EXPECT_EQ(record.host, loaded->host);
  ASSERT_TRUE(saveRunRecord({.domain = "a", .mountPoint = "/n"}));
  EXPECT_EQ((std::vector<std::string>{"a", "work"}), recordedDomains());
  removeRunRecord("a");
  removeRunRecord("work");
  EXPECT_TRUE(std::filesystem::is_empty(home / "run"));
}

TEST(RunRecord, DamagedOnesAreNoRecords) {
  const test::TemporaryHome home;
  for (const char* text : {"", "{", "[]", "{\"domain\":\"other\",\"mountPoint\":\"/m\"}",
                           "{\"domain\":\"d\"}", "{\"domain\":\"d\",\"mountPoint\":5}", "\xff\xfe"}) {
    test::writeText(home / "run/run-d.json", text);
    EXPECT_FALSE(loadRunRecord("d")) << text;
    test::writeText(home / "run/bus.json", text);
    const auto bus = loadBusRecord();
    EXPECT_FALSE(bus && isRunning(bus->process)) << text;
  }
  test::writeText(home / "run/run-d.json", std::string(1'000'000, ' ') + "{}");
  EXPECT_FALSE(loadRunRecord("d"));
  EXPECT_FALSE(saveRunRecord({.domain = "d", .folder = "\xff", .mountPoint = "/m"}));
}

}  // namespace
}  // namespace zelto::cli
