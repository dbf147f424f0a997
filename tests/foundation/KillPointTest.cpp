#include <csignal>
#include <cstdlib>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/foundation/KillPoint.h"

namespace zelto::test {
namespace {

// How often a child passes "here" before its end, which is by SIGKILL or of its own accord.
struct End {
  int passed = 0;
  bool killed = false;
};

End passes(const char* setting, int times) {
  int ends[2];
  EXPECT_EQ(0, ::pipe(ends));
  const pid_t child = ::fork();
  if (child == 0) {
    ::setenv("ZELTO_KILL_POINT", setting, 1);
    for (int i = 0; i < times; ++i) {
      killPoint("there");
      killPoint("here");
      if (::write(ends[1], "x", 1) != 1) ::_exit(1);
    }
    ::_exit(0);
  }
  ::close(ends[1]);
  End end;
  char byte = 0;
  while (::read(ends[0], &byte, 1) == 1) ++end.passed;
  ::close(ends[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  end.killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
  return end;
}

TEST(KillPointTest, EndsTheProcessAtTheCountedPassing) {
  const auto third = passes("here:3", 5);
  EXPECT_TRUE(third.killed);
  EXPECT_EQ(2, third.passed);
  const auto first = passes("here", 5);
  EXPECT_TRUE(first.killed);
  EXPECT_EQ(0, first.passed);
}

TEST(KillPointTest, OtherSettingsDoNothing) {
  for (const char* setting : {"", "elsewhere:1", "here:9", "here:0", "here:-1", ":", ":1"}) {
    const auto end = passes(setting, 4);
    EXPECT_FALSE(end.killed) << setting;
    EXPECT_EQ(4, end.passed) << setting;
  }
}

}  // namespace
}  // namespace zelto::test
