#include <cstring>
#include <map>
#include <mutex>
#include <set>

#include <gtest/gtest.h>

#include "platform/bus/ManagerInterface.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "tests/system/TestSystem.h"

namespace zelto::test {
namespace {

constexpr const char* kPrefix = "it.pellam.Zelto.Provider.";

std::string full(const std::string& name) { return kPrefix + name; }

// What can be done with items, and how they show it, as the file browsers ask for it.
struct ActionsTest : ::testing::Test {
  TestSystem system;
  std::mutex mutex;
  std::set<std::string> changed;  // folders that were told of
  std::shared_ptr<void> watch;

  void SetUp() override {
    for (const char* name : {"one.txt", "two.txt"}) writeFile(system.share() / "folder" / name, name);
    system.startExtension();
    system.startHost({"--my-files", "on"});
    system.waitUntilConnected();
    names(top());
    names(folder());
    watch =
        system.bus().matchSignal("", std::string(manager::kInterface), "ItemsChanged",
                                 [this](const std::string&, const BusArguments& arguments) {
                                   const std::lock_guard lock(mutex);
                                   for (const BusBytes& path : std::get<std::vector<BusBytes>>(arguments[0]))
                                     changed.insert(path.bytes);
                                 });
  }

  fs::path top() const { return system.mount() / "My Files" / "share"; }
  fs::path folder() const { return top() / "folder"; }

  static std::vector<BusBytes> bytes(const std::vector<fs::path>& paths) {
    std::vector<BusBytes> all;
    for (const fs::path& path : paths) all.push_back({path.string()});
    return all;
  }
  NSArray list(const char* method, const char* signature, BusArguments arguments) {
    const auto reply = system.callManager(method, signature, std::move(arguments));
    if (!reply) {
      ADD_FAILURE() << method << ": " << reply.error().localizedDescription();
      return {};
    }
    const auto value = NSJSONSerialization::valueWithString(std::get<std::string>(reply->at(0)));
    return value && value->asArray() != nullptr ? *value->asArray() : NSArray{};
  }
  std::set<std::string> offered(const std::vector<fs::path>& paths) {
    std::set<std::string> names;
    for (const auto& action : list("Actions", "aay", {bytes(paths)})) {
      names.insert(action.asDictionary()->find("identifier")->asString()->substr(std::strlen(kPrefix)));
      EXPECT_NE(*action.asDictionary()->find("title")->asString(), "");
    }
    return names;
  }
  static std::set<std::string> texts(const PropertyListValue& value) {
    std::set<std::string> all;
    for (const auto& each : *value.asArray()) all.insert(each.asString()->substr(std::strlen(kPrefix)));
    return all;
  }
  NSDictionary state(const fs::path& path) {
    const auto states = list("ItemStates", "aay", {bytes({path})});
    return states.empty() ? NSDictionary() : *states[0].asDictionary();
  }
  std::set<std::string> badges(const fs::path& path) { return texts(*state(path).find("decorations")); }
  int perform(const std::string& action, const std::vector<fs::path>& paths) {
    const auto reply = system.callManager("Perform", "saay", {action, bytes(paths)});
    return reply ? 0 : static_cast<int>(reply.error().code());
  }
  bool toldOf(const fs::path& path) {
    return eventually([&] {
      const std::lock_guard lock(mutex);
      return changed.contains(path.string());
    });
  }
};

TEST_F(ActionsTest, AnActionReachesTheHostForEachItemAndTheBadgeFollows) {
  const std::vector<fs::path> both{folder() / "one.txt", folder() / "two.txt"};
  EXPECT_TRUE(offered(both).contains("Bookmark"));
  EXPECT_FALSE(offered(both).contains("RemoveBookmark"));
  ASSERT_EQ(perform(full("Bookmark"), both), 0);
  for (const fs::path& path : both) {
    EXPECT_TRUE(eventually([&] { return badges(path) == std::set<std::string>{"bookmark"}; })) << path;
  }
  EXPECT_EQ(system.hostCalls("addBookmark"), 2);
  EXPECT_TRUE(toldOf(folder()));
  EXPECT_EQ(names(system.mount() / "Bookmarks"), (std::vector<std::string>{"one.txt", "two.txt"}));
  EXPECT_TRUE(offered(both).contains("RemoveBookmark"));
  // Also without a host, and after a restart.
  system.host().kill(SIGKILL);
  system.extension().kill(SIGTERM);
  system.startExtension();
  EXPECT_EQ(badges(both[0]), std::set<std::string>{"bookmark"});
  EXPECT_EQ(perform(full("RemoveBookmark"), both), EHOSTDOWN);
  system.startHost({"--my-files", "on"});
  system.waitUntilConnected();
  ASSERT_EQ(perform(full("RemoveBookmark"), both), 0);
  for (const fs::path& path : both) {
    EXPECT_TRUE(eventually([&] { return badges(path).empty(); })) << path;
  }
  EXPECT_TRUE(eventually([&] { return names(system.mount() / "Bookmarks").empty(); }));
}

TEST_F(ActionsTest, WhatIsNotOfferedIsRefused) {
  const fs::path file = folder() / "one.txt";
  EXPECT_EQ(perform(full("NoSuchThing"), {file}), ENOENT);
  EXPECT_EQ(perform(full("Bookmark"), {folder() / "nothing"}), ENOENT);
  EXPECT_EQ(perform(full("RemoveBookmark"), {file}), EPERM);
  EXPECT_EQ(perform(full("Bookmark"), {}), EINVAL);
  EXPECT_EQ(perform(full("Bookmark"), {"/etc/passwd"}), EXDEV);
  EXPECT_EQ(offered({file, folder() / "nothing"}), std::set<std::string>{});
}

TEST_F(ActionsTest, AFolderIsDescribedInOneCallAndSelectionsAreOfferedWhatAllOfThemAre) {
  ASSERT_EQ(perform(full("Bookmark"), {folder() / "one.txt"}), 0);
  ASSERT_TRUE(eventually([&] { return !badges(folder() / "one.txt").empty(); }));
  writeFile(folder() / "ünd 100%.txt", "new");
  ASSERT_TRUE(system.callManager("Wait", "", {}).has_value());
  std::map<std::string, NSDictionary> states;
  for (const auto& each : list("FolderStates", "ay", {BusBytes{folder().string()}})) {
    const std::string& path = *each.asDictionary()->find("path")->asString();
    states[path.substr(path.rfind('/') + 1)] = *each.asDictionary();
  }
  ASSERT_EQ(states.size(), 3U);
  ASSERT_TRUE(states.contains("%C3%BCnd%20100%25.txt"));
  EXPECT_EQ(*states["one.txt"].find("materialised")->asString(), "none");
  EXPECT_EQ(*states["one.txt"].find("state")->asString(), "current");
  EXPECT_EQ(system.hostCalls("downloadItem"), 0);
  std::set<std::string> common = texts(*states["one.txt"].find("actions"));
  const auto others = texts(*states["two.txt"].find("actions"));
  std::erase_if(common, [&](const std::string& each) { return !others.contains(each); });
  EXPECT_EQ(offered({folder() / "one.txt", folder() / "two.txt"}), common);
  EXPECT_EQ(list("AllActions", "", {}).size(), 12U);
  for (const auto& decoration : list("Decorations", "", {})) {
    EXPECT_TRUE(fs::exists(*decoration.asDictionary()->find("image")->asString()));
  }
}

TEST_F(ActionsTest, LocalChangesShowAsStates) {
  system.host().kill(SIGKILL);
  ASSERT_TRUE(eventually([&] { return !*system.status().find("hostConnected")->asBoolean(); }));
  writeFile(folder() / "new", "text");
  EXPECT_EQ(*state(folder() / "new").find("state")->asString(), "pending");
  EXPECT_TRUE(toldOf(folder()));
  system.startHost({"--my-files", "on"});
  EXPECT_TRUE(eventually([&] { return *state(folder() / "new").find("state")->asString() == "current"; }));
}

}  // namespace
}  // namespace zelto::test
