#include <chrono>
#include <cstdlib>
#include <deque>
#include <limits>
#include <random>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "tests/system/TestSystem.h"
#include "tests/system/exerciser/ActionSource.h"
#include "tests/system/exerciser/Comparison.h"
#include "tests/system/exerciser/Side.h"

namespace zelto::test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kTold = 80;  // so many of the last actions are printed in case of a fault

// Random work in the mount and the same work on a disk, while host and extension come and go: the mount
// shows what the disk shows, and so does the server once nothing is pending.
class Exercise {
 public:
  // What happens to the processes meanwhile.
  struct Disturbances {
    bool host = false;     // is killed or stopped for a while
    bool restart = false;  // of the extension, in good order
    bool kill = false;     // of the extension
  };

  Exercise(unsigned seed, Disturbances disturbances)
      : disturbances_(disturbances),
        source_(seed),
        top_(system_.data() / "exercise"),
        disk_(top_, true),
        mount_(system_.mounted(), false) {
    fs::create_directory(top_);
    system_.startExtension(kFlags);
    system_.startHost();
    system_.waitUntilConnected();
    // Its own attributes are the share's, which nobody here changes.
    fs::permissions(top_, fs::status(system_.mounted()).permissions());
  }

  void run(std::uint64_t steps, Clock::time_point end) {
    for (step_ = 0; step_ < steps && Clock::now() < end && sound(); ++step_) {
      if (step_ % 20 == 0) source_.look(top_);
      work(source_.next());
      if (sound() && source_.oneIn(host_ == Host::there ? 200 : 40)) changeSurroundings();
      if (sound() && step_ % 500 == 499) compareMount();
    }
    if (sound()) compareAll();
  }

  std::string history() const { return fmt::format("{}\n", fmt::join(history_, "\n")); }
  std::uint64_t steps() const { return step_; }
  std::uint64_t skipped() const { return skipped_; }

 private:
  enum class Host { there, gone, stopped };

  static bool sound() { return !::testing::Test::HasFailure(); }

  void note(std::string line) {
    history_.push_back(fmt::format("{}: {}", step_, std::move(line)));
    if (history_.size() > told_) history_.pop_front();
  }

  void work(const Action& action) {
    const std::string seen = mount_.perform(action);
    note(describe(action) + ": " + seen.substr(0, 200));
    // Without a host some things cannot be done; then they have not been begun either.
    if (host_ != Host::there && seen.starts_with("errno ") && isForWantOfAHost(std::atoi(seen.c_str() + 6))) {
      ++skipped_;
      return;
    }
    EXPECT_EQ(seen, disk_.perform(action)) << "in the mount, and on the disk";
  }

  void changeSurroundings() {
    if (host_ != Host::there && source_.oneIn(2)) return bringHostBack();
    switch (source_.below(7)) {
      case 0:
        return disturbances_.host ? loseHost(Host::gone) : compareAll();
      case 1:
        return disturbances_.host ? loseHost(Host::stopped) : compareAll();
      case 2:
        return disturbances_.restart ? restartExtension(SIGTERM) : compareMount();
      case 3:
        return disturbances_.kill ? restartExtension(SIGKILL) : compareMount();
      case 4:
        return compareAll();
      default:
        return evict(source_.anyPath());
    }
  }

  void loseHost(Host how) {
    if (host_ != Host::there) return;
    note(how == Host::gone ? "the host is killed" : "the host is stopped");
    how == Host::gone ? static_cast<void>(system_.host().kill(SIGKILL)) : system_.host().signal(SIGSTOP);
    host_ = how;
  }

  void bringHostBack() {
    if (host_ == Host::there) return;
    note("the host is back");
    host_ == Host::gone ? system_.startHost() : system_.host().signal(SIGCONT);
    system_.waitUntilConnected();
    host_ = Host::there;
  }

  void restartExtension(int signal) {
    disk_.closeAll();
    mount_.closeAll();
    note(fmt::format("the extension is restarted after signal {}", signal));
    system_.extension().kill(signal);
    system_.startExtension(kFlags);
    if (host_ == Host::there) system_.waitUntilConnected();
  }

  void evict(const std::string& path) {
    note("evict " + path);
    static_cast<void>(system_.callManager("Evict", "ay", {BusBytes{(system_.mounted() / path).string()}}));
  }

  void compareMount() {
    note("the mount is compared");
    EXPECT_EQ(mountDifference(top_, system_.mounted(), host_ != Host::there), "");
  }

  // Nothing is pending afterwards.
  void compareAll() {
    bringHostBack();
    disk_.closeAll();
    mount_.closeAll();
    compareMount();
    note("all is sent, and compared with the server");
    EXPECT_EQ(waitUntilSent(), "");
    EXPECT_EQ(serverDifference(top_, system_.share()), "");
    EXPECT_EQ(system_.status().find("conflicts")->integerValue(), 0) << system_.extensionErrors();
    if (source_.oneIn(2)) evict("");
    compareMount();
  }

  std::string waitUntilSent() {
    std::expected<BusArguments, NSError> failed;
    // The bus limits how long a call may take.
    for (int tries = 0; tries < 6; ++tries) {
      failed = system_.callManager("Wait", "", {});
      if (failed) break;
    }
    if (!failed) return failed.error().localizedDescription() + pendingNow();
    const auto& list = std::get<std::string>(failed->at(0));
    return list == "[]" ? "" : list;
  }

  std::string pendingNow() {
    const auto pending = system_.callManager("Pending", "", {});
    return pending ? std::get<std::string>(pending->at(0)) : pending.error().localizedDescription();
  }

  inline static const std::vector<std::string> kFlags{"--request-limit", "300"};

  const Disturbances disturbances_;
  TestSystem system_;
  ActionSource source_;
  const fs::path top_;
  Side disk_, mount_;
  Host host_ = Host::there;
  // All of it of work that is done again.
  const std::size_t told_ =
      std::getenv("ZELTO_EXERCISE_SEED") == nullptr ? kTold : std::numeric_limits<std::size_t>::max();
  std::deque<std::string> history_;
  std::uint64_t step_ = 0, skipped_ = 0;
};

std::optional<std::uint64_t> numberFrom(const char* variable) {
  const char* const text = std::getenv(variable);
  return text == nullptr ? std::nullopt : std::optional<std::uint64_t>(std::strtoull(text, nullptr, 10));
}

// Work from a seed: so many steps, or for so long.
void exercise(Exercise::Disturbances disturbances, unsigned seed, std::optional<std::uint64_t> steps) {
  std::cout << "seed " << seed << std::endl;
  Exercise exercise(seed, disturbances);
  exercise.run(steps.value_or(std::numeric_limits<std::uint64_t>::max()),
               steps ? Clock::time_point::max() : Clock::now() + std::chrono::seconds(15));
  std::cout << exercise.steps() << " steps, " << exercise.skipped()
            << " of them not done for want of a host\n";
  if (::testing::Test::HasFailure()) {
    std::cout << "seed " << seed << ", the last of it:\n" << exercise.history();
  }
}

// With ZELTO_EXERCISE_SEED the work of an earlier run, with ZELTO_EXERCISE_STEPS so many steps of it; else a
// new one, for a while.
void exerciseAnew(Exercise::Disturbances disturbances) {
  const auto seed = numberFrom("ZELTO_EXERCISE_SEED").value_or(std::random_device()());
  exercise(disturbances, static_cast<unsigned>(seed), numberFrom("ZELTO_EXERCISE_STEPS"));
}

constexpr std::uint64_t kFewSteps = 2500;

using Case = std::tuple<unsigned, Exercise::Disturbances>;

// A case for each seed: the system is there once in a process.
struct ExerciserSeedTest : ::testing::TestWithParam<Case> {};

TEST_P(ExerciserSeedTest, TheMountAndInTheEndTheServerShowWhatWasDone) {
  exercise(std::get<1>(GetParam()), std::get<0>(GetParam()), kFewSteps);
}

INSTANTIATE_TEST_SUITE_P(Seeds, ExerciserSeedTest,
                         ::testing::Combine(::testing::Values(31, 32, 51, 52),
                                            ::testing::Values(Exercise::Disturbances{})));
INSTANTIATE_TEST_SUITE_P(DisturbedSeeds, ExerciserSeedTest,
                         ::testing::Values(Case{410, {.host = true}}, Case{828828892, {.restart = true}},
                                           Case{335, {.kill = true}},
                                           Case{427, {.host = true, .restart = true, .kill = true}}));

// On demand: other work each time.
TEST(ExerciserTest, DISABLED_AnyWork) { exerciseAnew({}); }
TEST(ExerciserTest, DISABLED_AnyWorkWhenTheHostComesAndGoes) { exerciseAnew({.host = true}); }
TEST(ExerciserTest, DISABLED_AnyWorkWhenTheExtensionIsRestarted) { exerciseAnew({.restart = true}); }
TEST(ExerciserTest, DISABLED_AnyWorkWhenTheExtensionIsKilled) { exerciseAnew({.kill = true}); }
TEST(ExerciserTest, DISABLED_AnyWorkWhenAllOfThisHappens) {
  exerciseAnew({.host = true, .restart = true, .kill = true});
}

}  // namespace
}  // namespace zelto::test
