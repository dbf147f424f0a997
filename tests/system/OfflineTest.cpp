#include <iostream>

#include <fcntl.h>
#include <gtest/gtest.h>

#include "tests/system/Chances.h"
#include "tests/system/Settled.h"
#include "tests/system/exerciser/ActionSource.h"
#include "tests/system/exerciser/Comparison.h"
#include "tests/system/exerciser/Side.h"

namespace zelto::test {
namespace {

// Random work in the mount and the same on a disk. With no host there is nobody to ask, so each operation
// that does what it does on the disk is done here alone.
struct OfflineTest : ::testing::Test {
  TestSystem system;
  fs::path top = system.data() / "disk";
  Side disk{top, true}, mount{system.mounted(), false};
  const unsigned seed = numberFromEnvironment("ZELTO_TEST_SEED", 1);
  ActionSource source{seed};

  void SetUp() override {
    fs::create_directory(top);
    system.start();
    EXPECT_EQ(names(system.mounted()), names(top));
    fs::permissions(top, fs::status(system.mounted()).permissions());
  }

  void work(unsigned count) {
    for (unsigned step = 0; step < count; ++step) {
      if (step % 20 == 0) source.look(top);
      const Action action = source.next();
      ASSERT_EQ(mount.perform(action), disk.perform(action))
          << "in the mount, and on the disk; seed " << seed << ", step " << step << ": " << describe(action);
    }
    disk.closeAll();
    mount.closeAll();
    EXPECT_EQ(mountDifference(top, system.mounted(), false), "");
  }

  void both(Verb verb, const std::string& path, const std::string& other = {}) {
    const Action action{.verb = verb, .path = path, .other = other, .flags = O_WRONLY | O_CREAT, .length = 9};
    EXPECT_EQ(mount.perform(action), disk.perform(action)) << describe(action);
  }

  void expectAllArrives() {
    // What only lies here for a program of this machine stays among the changes.
    const auto arrived = [&] {
      const NSDictionary state = system.status();
      return state.find("pending")->integerValue() + state.find("uploading")->integerValue() == 0;
    };
    EXPECT_TRUE(eventually(arrived, std::chrono::minutes(2))) << pendingNow(system);
    EXPECT_EQ(countOf(system, "failed"), 0) << pendingNow(system);
    EXPECT_EQ(serverDifference(top, system.share()), "");
    EXPECT_EQ(mountDifference(top, system.mounted(), false), "");
    EXPECT_EQ(countOf(system, "conflicts"), 0) << system.extensionErrors();
  }
};

TEST_F(OfflineTest, WorkWithoutAHostArrivesWhenItComes) {
  const unsigned count = numberFromEnvironment("ZELTO_TEST_COUNT", 1000);
  ASSERT_NO_FATAL_FAILURE(work(count / 10));
  ASSERT_NO_FATAL_FAILURE(expectAllArrives());
  system.host().kill(SIGKILL);
  ASSERT_NO_FATAL_FAILURE(work(count));
  std::cout << "seed " << seed << ", " << count << " operations\n";
  system.startHost();
  system.waitUntilConnected();
  expectAllArrives();
}

// Never arrives: the new folder waits for the place that the old item has on the server, and that one for the
// new folder, into which it moves. Nobody sees that this is a circle. On demand until one does.
TEST_F(OfflineTest, AFolderTakesTheNameOfWhatHasMovedIntoIt) {
  both(Verb::write, "file");
  both(Verb::mkdir, "folder");
  ASSERT_NO_FATAL_FAILURE(expectAllArrives());
  system.host().kill(SIGKILL);
  for (const std::string name : {"file", "folder"}) {
    both(Verb::mkdir, "new");
    both(Verb::rename, name, "new/inside");
    both(Verb::rename, "new", name);
  }
  system.startHost();
  system.waitUntilConnected();
  expectAllArrives();
}

}  // namespace
}  // namespace zelto::test
