#include <gtest/gtest.h>

#include "platform/foundation/NSJSONSerialization.h"
#include "tests/system/TestSystem.h"

namespace zelto::test {
namespace {

// Local changes, as the manager tells of them on the bus.
struct PendingTest : ::testing::Test {
  TestSystem system;

  void SetUp() override {
    writeFile(system.share() / "file", "old");
    system.start();
    EXPECT_EQ(readFile(system.mounted() / "file"), "old");
  }

  // Pending or Wait.
  NSArray changes(const char* method) {
    const auto reply = system.callManager(method, "", {});
    if (!reply) {
      ADD_FAILURE() << reply.error().localizedDescription();
      return {};
    }
    const auto value = NSJSONSerialization::valueWithString(std::get<std::string>(reply->at(0)));
    return value && value->asArray() != nullptr ? *value->asArray() : NSArray{};
  }
  static std::string text(const PropertyListValue& change, const char* key) {
    const auto* const value = change.asDictionary()->find(key);
    return value != nullptr && value->asString() != nullptr ? *value->asString() : "";
  }
  std::optional<NSError> steer(const char* method, const fs::path& path) {
    const auto reply = system.callManager(method, "ay", {BusBytes{path.string()}});
    if (reply) return std::nullopt;
    return reply.error();
  }
};

TEST_F(PendingTest, WhoWaitsIsAnsweredOnceTheServerHasEverything) {
  writeFile(system.mounted() / "file", "new");
  fs::create_directory(system.mounted() / "folder");
  writeFile(system.mounted() / "folder" / "inside", "inside");
  EXPECT_EQ(changes("Wait").size(), 0U);
  EXPECT_EQ(readFile(system.share() / "file"), "new");
  EXPECT_EQ(readFile(system.share() / "folder" / "inside"), "inside");
  EXPECT_EQ(changes("Pending").size(), 0U);
  EXPECT_EQ(system.status().find("pending")->integerValue(), 0);
}

TEST_F(PendingTest, WithoutAHostChangesAreToldAndCanBeGivenUp) {
  system.host().kill(SIGKILL);
  ASSERT_TRUE(eventually([&] { return !*system.status().find("hostConnected")->asBoolean(); }));
  writeFile(system.mounted() / "file", "changed");
  writeFile(system.mounted() / "new", "new");
  fs::remove(system.mounted() / "file");
  const auto pending = changes("Pending");
  ASSERT_EQ(pending.size(), 2U);
  EXPECT_EQ(text(pending[0], "path"), (system.mounted() / "file").string());
  EXPECT_EQ(text(pending[0], "kind"), "remove");
  EXPECT_EQ(text(pending[1], "path"), (system.mounted() / "new").string());
  EXPECT_EQ(text(pending[1], "kind"), "create");
  EXPECT_EQ(text(pending[1], "state"), "pending");
  EXPECT_EQ(system.status().find("pending")->integerValue(), 2);

  EXPECT_EQ(steer("Cancel", system.mounted() / "file"), std::nullopt);
  EXPECT_EQ(steer("Cancel", system.mounted() / "new"), std::nullopt);
  EXPECT_EQ(steer("Cancel", system.mounted() / "new")->code(), ENOENT);
  EXPECT_EQ(steer("Retry", system.mounted() / "new")->code(), ENOENT);
  EXPECT_EQ(changes("Pending").size(), 0U);
  EXPECT_FALSE(fs::exists(system.mounted() / "new"));
  system.startHost();
  system.waitUntilConnected();
  EXPECT_TRUE(eventually([&] { return readFile(system.mounted() / "file") == "old"; }));
  EXPECT_EQ(readFile(system.share() / "file"), "old");
}

}  // namespace
}  // namespace zelto::test
