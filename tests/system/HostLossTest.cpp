#include <atomic>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/system/Settled.h"
#include "tests/system/TestSystem.h"

namespace zelto::test {
namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

int errnoOfListing(const fs::path& folder) {
  std::error_code error;
  fs::directory_iterator listing(folder, error);
  return error.value();
}

// What was seen once is there without a host; what was not fails with a clear error, within its limit.
void expectOffline(TestSystem& system, int error) {
  EXPECT_EQ(names(system.mounted() / "known"), std::vector<std::string>{"file"});
  EXPECT_EQ(readFile(system.mounted() / "known" / "file"), "known text");
  EXPECT_EQ(errnoOfListing(system.mounted() / "unknown"), error);
  EXPECT_EQ(readFile(system.mounted() / "unread"), "errno " + std::to_string(error));
}

void serveKnownAndUnknown(const TestSystem& system) {
  writeFile(system.share() / "known" / "file", "known text");
  writeFile(system.share() / "unknown" / "file", "text");
  writeFile(system.share() / "unread", "text");
}

void learn(TestSystem& system) {
  names(system.mounted());
  names(system.mounted() / "known");
  ASSERT_EQ(readFile(system.mounted() / "known" / "file"), "known text");
}

TEST(HostLossTest, WithoutAHostWhatIsKnownIsThereAndTheRestFailsInTime) {
  TestSystem system;
  serveKnownAndUnknown(system);
  system.startExtension();
  system.startHost();
  system.waitUntilConnected();
  learn(system);
  system.host().kill(SIGKILL);
  system.extension().kill(SIGTERM);
  system.startExtension({"--request-limit", "300"});
  expectOffline(system, EHOSTDOWN);
  system.startHost();
  system.waitUntilConnected();
  EXPECT_EQ(names(system.mounted() / "unknown"), std::vector<std::string>{"file"});
  EXPECT_EQ(readFile(system.mounted() / "unread"), "text");
}

TEST(HostLossTest, AStoppedHostCostsItsLimitAndNothingElse) {
  TestSystem system;
  serveKnownAndUnknown(system);
  system.startExtension({"--request-limit", "300"});
  system.startHost();
  system.waitUntilConnected();
  learn(system);
  system.host().signal(SIGSTOP);
  expectOffline(system, ETIMEDOUT);
  system.host().signal(SIGCONT);
  EXPECT_TRUE(eventually([&] { return readFile(system.mounted() / "unknown" / "file") == "text"; }));
}

TEST(HostLossTest, AnInterruptedCallerAnswersAtOnce) {
  TestSystem system;
  serveKnownAndUnknown(system);
  system.startExtension({"--request-limit", "60000"});
  for (const int signal : {SIGINT, SIGKILL}) {
    Process caller({"ls", system.mounted().string()}, system.data() / "ls.err");
    ASSERT_TRUE(eventually([&] { return system.status().find("requestsInFlight")->integerValue() == 1; }));
    caller.signal(signal);
    int status = 0;
    ASSERT_TRUE(caller.waitForEnd(seconds(10), &status));
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << status;
    EXPECT_TRUE(eventually([&] { return system.status().find("requestsInFlight")->integerValue() == 0; }));
  }
}

TEST(HostLossTest, AHostKilledInTheMiddleIsAskedAgainWhenItComesBack) {
  TestSystem system;
  serveKnownAndUnknown(system);
  writeFile(system.share() / "large", std::string(64 << 20, 'z'));
  system.start();
  names(system.mounted());
  for (const char* what : {"unknown", "large"}) {
    system.host().signal(SIGSTOP);
    std::string seen;
    std::thread reader([&] {
      const fs::path path = system.mounted() / what;
      seen = fs::is_directory(path) ? names(path).front() : std::to_string(readFile(path).size());
    });
    // Also when this fails the reader gets its answer, and can be joined.
    EXPECT_TRUE(eventually([&] { return system.status().find("requestsInFlight")->integerValue() > 0; }));
    system.host().kill(SIGKILL);
    system.startHost();
    reader.join();
    EXPECT_EQ(seen, std::string(what) == "large" ? std::to_string(64 << 20) : "file");
  }
}

TEST(HostLossTest, WhatWasHandedToAHostThatIsKilledDoesNotStayInTheGroupDirectory) {
  TestSystem system;
  serveKnownAndUnknown(system);
  system.start();
  learn(system);
  system.host().signal(SIGSTOP);
  writeFile(system.mounted() / "known" / "new", "for the server");
  const auto handedOver = [&] {
    return holdsFileOfSize(system.data() / "groups", std::string("for the server").size());
  };
  EXPECT_TRUE(eventually(handedOver));
  system.host().kill(SIGKILL);
  EXPECT_TRUE(eventually([&] { return !handedOver(); }));
  system.startHost();
  EXPECT_EQ(waitUntilSettled(system), "");
  EXPECT_EQ(readFile(system.share() / "known" / "new"), "for the server");
  EXPECT_EQ(strayFiles(system), "");
}

TEST(HostLossTest, AKilledExtensionIsReplacedOverItsStaleMount) {
  TestSystem system;
  serveKnownAndUnknown(system);
  system.start();
  learn(system);
  for (int round = 0; round < 3; ++round) {
    system.extension().kill(SIGKILL);
    EXPECT_NE(errnoOfListing(system.mount()), 0);
    const fs::path group = fs::directory_iterator(system.data() / "groups")->path();
    const fs::path delivery = group / "0F1E2D3C-4B5A-4697-8877-665544332211";  // it came to no more
    writeFile(delivery, "a range");
    system.startExtension();
    system.waitUntilConnected();
    EXPECT_FALSE(fs::exists(delivery));
    EXPECT_EQ(readFile(system.mounted() / "known" / "file"), "known text");
  }
}

}  // namespace
}  // namespace zelto::test
