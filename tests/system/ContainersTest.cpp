#include <regex>

#include <gtest/gtest.h>

#include "tests/system/Settled.h"
#include "tests/system/TestSystem.h"

namespace zelto::test {
namespace {

using Names = std::vector<std::string>;

TEST(ContainersTest, TheRootFollowsTheTwoSettingsAtOnce) {
  TestSystem system;
  writeFile(system.share() / "file", "text");
  system.start();
  EXPECT_EQ(names(system.mount()), Names{"share"});
  EXPECT_EQ(readFile(system.mounted() / "file"), "text");
  ASSERT_TRUE(system.callHost("SetMode", "bb", {true, false}).has_value());
  EXPECT_TRUE(eventually([&] { return names(system.mount()) == Names{"Bookmarks", "My Files"}; }));
  EXPECT_EQ(readFile(system.mount() / "My Files" / "share" / "file"), "text");
  ASSERT_TRUE(system.callHost("SetMode", "bb", {true, true}).has_value());
  EXPECT_TRUE(eventually([&] {
    return names(system.mount()) == Names{"Bookmarks", "My Files", "Offline Files"};
  }));
  ASSERT_TRUE(system.callHost("SetMode", "bb", {false, false}).has_value());
  EXPECT_TRUE(eventually([&] { return names(system.mount()) == Names{"share"}; }))
      << ::testing::PrintToString(names(system.mount()));
  EXPECT_EQ(readFile(system.mounted() / "file"), "text");
}

TEST(ContainersTest, SettingsChangedWhileTheExtensionIsAwayShowWhenItComes) {
  TestSystem system;
  writeFile(system.share() / "file", "text");
  system.start();
  EXPECT_EQ(names(system.mount()), Names{"share"});
  system.extension().kill(SIGKILL);
  ASSERT_TRUE(system.callHost("SetMode", "bb", {true, false}).has_value());
  system.startExtension();
  system.waitUntilConnected();
  EXPECT_TRUE(eventually([&] { return names(system.mount()) == Names{"Bookmarks", "My Files"}; }));
  EXPECT_EQ(readFile(system.mount() / "My Files" / "share" / "file"), "text");
}

TEST(ContainersTest, ChangesInAShareThatTheRootDoesNotShowArriveWhenItDoesAgain) {
  TestSystem system;
  writeFile(system.share() / "file", "text");
  system.start();
  EXPECT_EQ(names(system.mounted()), Names{"file"});
  system.host().kill(SIGKILL);
  ASSERT_TRUE(eventually([&] { return !*system.status().find("hostConnected")->asBoolean(); }));
  writeFile(system.mounted() / "file", "changed");
  writeFile(system.mounted() / "new", "new");
  system.startHost({"--my-files", "on"});
  EXPECT_TRUE(eventually([&] { return fs::exists(system.mount() / "My Files"); }));
  EXPECT_EQ(readFile(system.mounted() / "file"), "changed");
  ASSERT_TRUE(system.callHost("SetMode", "bb", {false, false}).has_value());
  EXPECT_TRUE(eventually([&] { return names(system.mount()) == Names{"share"}; }));
  ASSERT_TRUE(system.callManager("Retry", "ay", {BusBytes{""}}).has_value());
  EXPECT_EQ(waitUntilSettled(system), "");
  EXPECT_EQ(readFile(system.share() / "file"), "changed");
  EXPECT_EQ(readFile(system.share() / "new"), "new");
  EXPECT_EQ(names(system.share()), (Names{"file", "new"}));
}

TEST(ContainersTest, BookmarksLeadToWhatTheyNameAndGoEverywhere) {
  TestSystem system;
  writeFile(system.share() / "folder" / "inner" / "file", "marked");
  system.startExtension();
  system.startHost({"--my-files", "on", "--offline-files", "on"});
  system.waitUntilConnected();
  EXPECT_EQ(names(system.mount() / "Bookmarks"), Names{});
  ASSERT_TRUE(system.callHost("AddBookmark", "s", {std::string("/My Files/share/folder")}).has_value());
  EXPECT_TRUE(eventually([&] { return names(system.mount() / "Bookmarks") == Names{"folder"}; }));
  const fs::path bookmark = system.mount() / "Bookmarks" / "folder";
  EXPECT_TRUE(fs::is_symlink(fs::symlink_status(bookmark)));
  EXPECT_EQ(readFile(bookmark / "inner" / "file"), "marked");
  ASSERT_TRUE(system.callHost("RemoveBookmark", "s", {std::string("/My Files/share/folder")}).has_value());
  EXPECT_TRUE(eventually([&] { return names(system.mount() / "Bookmarks") == Names{}; }));
}

TEST(ContainersTest, OfflineFilesAreListedInTheirContainer) {
  TestSystem system;
  writeFile(system.share() / "kept" / "file", "offline text");
  system.startExtension();
  system.startHost({"--my-files", "on", "--offline-files", "on"});
  system.waitUntilConnected();
  ASSERT_TRUE(system.callHost("MakeOffline", "s", {std::string("/My Files/share/kept")}).has_value());
  EXPECT_TRUE(eventually([&] { return names(system.mount() / "Offline Files") == Names{"kept"}; }));
  EXPECT_EQ(readFile(system.mount() / "Offline Files" / "kept" / "file"), "offline text");
  EXPECT_EQ(fs::status(system.mount() / "Offline Files" / "kept" / "file").permissions(),
            fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read);
}

TEST(ContainersTest, EveryLogRecordReachesTheHost) {
  TestSystem system;
  writeFile(system.share() / "file", "text");
  system.start();
  readFile(system.mounted() / "file");
  const std::regex record(
      R"((^|\n)\d{4}-\d\d-\d\d \d\d:\d\d:\d\d:\d{3}[+-]\d{4} INFO \[\d+\] FP\[Main\] Download:/share/file\n)");
  EXPECT_TRUE(eventually([&] { return std::regex_search(system.hostLog(), record); })) << system.hostLog();
  EXPECT_NE(system.hostLog().find("DEBUG [" + std::to_string(system.extension().pid()) +
                                  "] FP[List] /share (count=1)"),
            std::string::npos)
      << system.hostLog();
}

TEST(ContainersTest, GarbageOnTheEndpointHarmsNobody) {
  TestSystem system;
  writeFile(system.share() / "file", "text");
  system.start();
  const auto endpoint = system.callManager("ServiceEndpoint", "ss",
                                           {std::string("NSFileProviderRootContainerItemIdentifier"),
                                            std::string("it.pellam.Zelto.FP.Service.v1")});
  ASSERT_TRUE(endpoint.has_value());
  const int descriptor = std::get<std::shared_ptr<UniqueDescriptor>>(endpoint->at(0))->get();
  const std::string garbage(100'000, '\xaa');
  EXPECT_GT(::write(descriptor, garbage.data(), 1000), 0);
  EXPECT_FALSE(system.callManager("ServiceEndpoint", "ss", {std::string("x"), std::string("no such service")})
                   .has_value());
  EXPECT_FALSE(system.callManager("Item", "ay", {BusBytes{"/etc/passwd"}}).has_value());
  system.host().kill(SIGKILL);
  system.startHost();
  EXPECT_TRUE(eventually([&] { return readFile(system.mounted() / "file") == "text"; }));
}

}  // namespace
}  // namespace zelto::test
