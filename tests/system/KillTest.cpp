#include <thread>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "platform/foundation/NSJSONSerialization.h"
#include "tests/system/Chances.h"
#include "tests/system/Settled.h"
#include "tests/system/Workload.h"

namespace zelto::test {
namespace {

using std::chrono::milliseconds;

constexpr std::array kExtensionPoints{"change.noted",      "content.local",    "replica.written",
                                      "content.returning", "content.returned", "step.begins",
                                      "step.exported",     "step.settles",     "step.settled"};
constexpr std::array kHostPoints{"upload.staged",  "upload.copied", "upload.renamed", "upload.replied",
                                 "folder.created", "move.renamed",  "item.removed"};
// A point that is not passed by then is not waited for.
constexpr milliseconds kPointPatience{1500};

// A program works in the mount while extension and host are killed, at any moment or at a named point, and
// started anew.
class KillTest : public ::testing::Test {
 protected:
  void begin(unsigned seed) {
    random_.seed(seed);
    fs::create_directories(system_.share() / "work");
    system_.start();
    ASSERT_TRUE(eventually([&] { return fs::exists(system_.mounted() / "work"); }));
    work_ = std::make_unique<Workload>(system_.mounted() / "work", seed, disturbances_);
    worker_ = std::jthread([this](const std::stop_token& ended) {
      while (!ended.stop_requested() && fault_.empty()) {
        fault_ = work_->operate();
        ++operations_;
      }
      over_ = true;
    });
    // Changes are sent without their rest, so that every kill meets some on their way.
    pusher_ = std::jthread([this](const std::stop_token& ended) {
      while (!ended.stop_requested()) {
        static_cast<void>(system_.callManager("Wait", "", {}));
        waitForOperations(3);
      }
    });
  }

  bool waitForOperations(unsigned count, milliseconds limit = std::chrono::seconds(60)) {
    const unsigned until = operations_ + count;
    return eventually([&] { return operations_ >= until || over_; }, limit);
  }

  std::size_t below(std::size_t limit) { return random_() % limit; }

  // The process ends at its point, or at any moment after a while.
  void end(Process& process, bool armed) {
    if (armed && process.waitForEnd(kPointPatience)) {
      ++atPoints_;
      return;
    }
    process.kill(SIGKILL);
  }

  static void arm(const std::string& point) { ::setenv("ZELTO_KILL_POINT", point.c_str(), 1); }
  static void disarm() { ::unsetenv("ZELTO_KILL_POINT"); }
  std::string anyPoint(const auto& points) {
    return fmt::format("{}:{}", points[below(points.size())], 1 + below(12));
  }

  // Starts what is not there, armed or not, and waits until all of it works or has come to its point.
  void startMissing(bool armExtension, bool armHost) {
    disarm();
    if (!system_.extension().running()) {
      if (armExtension) arm(extensionPoint_ = anyPoint(kExtensionPoints));
      system_.launchExtension();
      disarm();
    }
    if (!system_.host().running()) {
      if (armHost) arm(hostPoint_ = anyPoint(kHostPoints));
      system_.startHost();
      disarm();
    }
  }

  void killOnce() {
    waitForOperations(1 + static_cast<unsigned>(below(40)));
    const std::size_t which = below(3);
    const bool pointed = below(2) == 0;
    SCOPED_TRACE(fmt::format("kill {} of {}", kills_,
                             which == 0   ? "extension"
                             : which == 1 ? "host"
                                          : "both"));
    ++disturbances_;
    if (pointed) {
      // A new one in its place, with a point to die at.
      if (which != 1) system_.extension().kill(SIGKILL);
      if (which != 0) system_.host().kill(SIGKILL);
      startMissing(true, true);
    }
    if (which != 1) end(system_.extension(), pointed);
    if (which != 0) end(system_.host(), pointed);
    startMissing(false, false);
    waitUntilAllWorks();
    ++disturbances_;
    ++kills_;
  }

  void waitUntilAllWorks() {
    const bool works = eventually([&] {
      const NSDictionary state = system_.status();
      const PropertyListValue* const connected = state.find("hostConnected");
      return connected != nullptr && *connected->asBoolean() && fs::exists(system_.mounted() / "work");
    });
    ASSERT_TRUE(works) << system_.extensionErrors();
  }

  void checkAll() {
    worker_.request_stop();
    ASSERT_TRUE(eventually([&] { return over_.load(); }, std::chrono::seconds(90)));
    pusher_.request_stop();
    ASSERT_EQ(fault_, "") << work_->last();
    EXPECT_EQ(waitUntilSettled(system_), "");
    const auto shown = readFileTree(system_.mounted() / "work");
    const auto served = readFileTree(system_.share() / "work");
    ASSERT_TRUE(shown && served);
    EXPECT_EQ(differenceOf(work_->tree(), *shown), "") << "in the mount";
    EXPECT_EQ(differenceOf(work_->tree(), *served), "") << "on the server";
    EXPECT_EQ(strayFiles(system_), "");
  }

  void report(unsigned seed) const {
    fmt::print("seed {}: {} kills, {} of them at a point, {} operations, {} of them failed\n", seed, kills_,
               atPoints_, work_->operations(), work_->failures());
    std::fflush(stdout);
  }

  TestSystem system_;
  std::mt19937 random_;
  std::atomic<unsigned> disturbances_ = 0;
  std::atomic<unsigned> operations_ = 0;
  std::atomic<bool> over_ = false;
  std::unique_ptr<Workload> work_;
  std::string fault_;  // the worker's, until it is over
  std::string extensionPoint_, hostPoint_;
  unsigned kills_ = 0, atPoints_ = 0;
  std::jthread worker_, pusher_;
};

TEST_F(KillTest, NothingAcknowledgedIsLostAndNothingIsDoubled) {
  const unsigned seed = numberFromEnvironment("ZELTO_TEST_SEED", 1);
  const unsigned kills = numberFromEnvironment("ZELTO_TEST_COUNT", 10);
  ASSERT_NO_FATAL_FAILURE(begin(seed));
  for (unsigned count = 0; count < kills && !over_; ++count) ASSERT_NO_FATAL_FAILURE(killOnce());
  checkAll();
  report(seed);
}

}  // namespace
}  // namespace zelto::test
