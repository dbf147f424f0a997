#include <gtest/gtest.h>

#include "hostapp/Host.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "tests/bus/PrivateBus.h"
#include "tests/hostapp/HostFixture.h"
#include "tests/hostapp/Pictures.h"
#include "tests/hostapp/StandInProvider.h"

namespace zelto::test {
namespace {

// The whole host on a bus of its own, with a stand-in for framework and extension.
class HostConnectionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    // The containers carry their tokens as names.
    ::setenv("ZELTO_RESOURCES", "/nonexistent", 1);
    bus.start();
    server.write("share/file", "content");
    options.folder = server.root();
  }
  void TearDown() override {
    host.reset();
    provider.leave();
  }
  void startHost() {
    auto started = Host::start(options, [this] { ++shutdowns; });
    ASSERT_TRUE(started) << started.error().localizedDescription();
    host = std::move(*started);
  }
  bool awaitConnections(int count) {
    return eventually([this, count] { return provider.connections == count && provider.server(); });
  }
  std::expected<BusArguments, NSError> control(const std::string& method, const std::string& signature = "",
                                               BusArguments arguments = {}) {
    if (!controller) controller = *SessionBus::connect();
    return controller->callAndWait({hostcontrol::busName("default"), hostcontrol::objectPath("default"),
                                    std::string(hostcontrol::kInterface)},
                                   method, signature, std::move(arguments), 10'000'000);
  }
  NSDictionary status() {
    const auto answer = control("Status");
    EXPECT_TRUE(answer);
    return *NSJSONSerialization::valueWithString(std::get<std::string>(answer->front()))->asDictionary();
  }
  DictionaryList shares() {
    auto [reply, future] = awaited<DictionaryList>();
    provider.server()->metadataForSharesWithCompletion(std::move(reply));
    return std::get<0>(future.get());
  }
  Changes takeChanges() {
    auto [reply, future] = awaited<DictionaryList, std::vector<std::string>>();
    provider.server()->retrieveChangesWithCompletion(std::move(reply));
    auto [updates, deletions] = future.get();
    return {std::move(updates), std::move(deletions)};
  }

  PrivateBus bus;
  ServerFolder server;
  HostOptions options;
  StandInProvider provider;
  std::unique_ptr<Host> host;
  std::shared_ptr<SessionBus> controller;
  std::atomic<int> shutdowns = 0;
};

TEST_F(HostConnectionTest, TheProviderMayComeFirst) {
  provider.appear();
  startHost();
  ASSERT_TRUE(awaitConnections(1));
  EXPECT_TRUE(eventually([this] { return provider.configurations() == "mo " && provider.signals == 1; }));
  EXPECT_EQ(1U, shares().size());
  EXPECT_TRUE(isTrue(status(), "connected"));
}

TEST_F(HostConnectionTest, TheHostMayComeFirst) {
  options.useMyFiles = true;
  startHost();
  EXPECT_FALSE(isTrue(status(), "connected"));
  provider.appear();
  ASSERT_TRUE(awaitConnections(1));
  EXPECT_TRUE(eventually([this] { return provider.configurations() == "Mo "; }));
}

TEST_F(HostConnectionTest, TriesAgainUntilTheExtensionIsUp) {
  startHost();
  provider.appear(3);
  ASSERT_TRUE(awaitConnections(1));
  EXPECT_EQ(4, provider.asked);
}

TEST_F(HostConnectionTest, GivesUpQuietlyAndComesAtTheBroadcast) {
  startHost();
  provider.appear(1'000);
  ASSERT_TRUE(eventually([this] { return provider.asked == 1; }));
  // Each broadcast is a reason to try at once, whatever pause is running.
  for (int sign = 0; sign < 40 && provider.asked < 30; ++sign) {
    const int before = provider.asked;
    provider.announce();
    ASSERT_TRUE(eventually([this, before] { return provider.asked > before; }));
  }
  EXPECT_EQ(0, provider.connections);
}

TEST_F(HostConnectionTest, ConnectsAgainWhenTheOtherSideDies) {
  startHost();
  provider.appear();
  ASSERT_TRUE(awaitConnections(1));
  provider.dropConnection();
  ASSERT_TRUE(awaitConnections(2)) << "the manager is still there";
  provider.leave();
  EXPECT_TRUE(eventually([this] { return !isTrue(status(), "connected"); }));
  provider.appear();
  ASSERT_TRUE(awaitConnections(3));
  EXPECT_EQ(1U, shares().size());
}

TEST_F(HostConnectionTest, ModeChangesReachTheExtensionAndItsRoot) {
  provider.appear();
  startHost();
  ASSERT_TRUE(awaitConnections(1));
  takeChanges();
  ASSERT_TRUE(control("SetMode", "bb", {true, true}));
  EXPECT_TRUE(eventually([this] { return provider.configurations().ends_with("MO "); }));
  auto changes = takeChanges();
  EXPECT_EQ(std::vector<std::string>{"/share"}, changes.deletions);
  ASSERT_EQ(3U, changes.updates.size());
  for (const int type : {1, 2, 3}) {
    EXPECT_NE(changes.updates.end(),
              std::find(changes.updates.begin(), changes.updates.end(), containerDictionary(type)));
  }
  EXPECT_EQ("/MY_FILES/share", textOf(shares().front(), "itemIdentifier"));
  ASSERT_TRUE(control("SetMode", "bb", {true, false}));
  changes = takeChanges();
  EXPECT_EQ(std::vector<std::string>{"/OFFLINE_FILES"}, changes.deletions);
  host.reset();
  startHost();
  EXPECT_TRUE(isTrue(status(), "useMyFiles")) << "it is stored";
  ASSERT_TRUE(awaitConnections(2));
  ASSERT_TRUE(control("SetMode", "bb", {false, false}));
  changes = takeChanges();
  EXPECT_EQ((std::vector<std::string>{"/BOOKMARKS", "/MY_FILES"}), changes.deletions);
  EXPECT_TRUE(changes.hasUpdate("/share"));
  EXPECT_EQ(5, changes.update("/share")->find("itemType")->integerValue());
}

TEST_F(HostConnectionTest, ChangesAreSignalledAndTaken) {
  provider.appear();
  startHost();
  ASSERT_TRUE(awaitConnections(1));
  ASSERT_TRUE(eventually([this] { return provider.signals == 1; }));
  auto [reply, future] = awaited<DictionaryList>();
  provider.server()->metadataForDirectory("/share", false, std::move(reply));
  EXPECT_EQ(1U, std::get<0>(future.get()).size());
  server.write("share/new", "x");
  ASSERT_TRUE(eventually([this] { return provider.signals > 1; }));
  // The first of the signals may be for the folder's date alone.
  EXPECT_TRUE(eventually([this] { return takeChanges().hasUpdate("/share/new"); }));
  const auto numbers = status();
  EXPECT_EQ(1, numbers.find("calls")->asDictionary()->find("metadataForDirectory")->integerValue());
  EXPECT_LE(1, numbers.find("calls")->asDictionary()->find("retrieveChanges")->integerValue());
}

TEST_F(HostConnectionTest, ContentGoesOverTheConnection) {
  provider.appear();
  startHost();
  ASSERT_TRUE(awaitConnections(1));
  auto [reply, future] = awaited<std::optional<NSURL>, std::optional<NSDictionary>, std::optional<NSError>>();
  const auto progress = provider.server()->downloadItemWithPath("/share/file", std::move(reply));
  const auto [url, dictionary, error] = future.get();
  ASSERT_TRUE(url);
  EXPECT_EQ("content", contentOf(url->path()));
  EXPECT_EQ(7, status().find("bytesSent")->integerValue());
  // The extension's log lines end up in the host's log.
  provider.server()->logMessage("FP[Main] hello", "INFO", "date", false, 42);
  EXPECT_TRUE(eventually([this] {
    return contentOf(textOf(status(), "log")).find("date INFO [42] FP[Main] hello\n") != std::string::npos;
  }));
}

TEST_F(HostConnectionTest, TheBusControlsTheHost) {
  options.useMyFiles = true;
  startHost();
  EXPECT_TRUE(control("AddBookmark", "s", {std::string("/MY_FILES/share/file")}));
  EXPECT_TRUE(control("MakeOffline", "s", {std::string("/MY_FILES/share/file")}));
  const auto refused = control("AddBookmark", "s", {std::string("/MY_FILES/share/none")});
  ASSERT_FALSE(refused);
  EXPECT_NE(std::string::npos, refused.error().localizedDescription().find("none"));
  EXPECT_TRUE(control("RemoveBookmark", "s", {std::string("/BOOKMARKS/file")}));
  EXPECT_TRUE(control("RemoveOffline", "s", {std::string("/MY_FILES/share/file")}));
  EXPECT_TRUE(control("Shutdown"));
  EXPECT_EQ(1, shutdowns);
  const auto second = Host::start(options, [] {});
  ASSERT_FALSE(second) << "one host for a domain";
  provider.appear();
  ASSERT_TRUE(awaitConnections(1));
  host.reset();
  EXPECT_TRUE(eventually([this] { return provider.disconnects == 1; }));
}

// As the extension asks for them, one way each; what they do shows in the answers that follow.
TEST_F(HostConnectionTest, ActionsGoOverTheConnection) {
  server.write("share/picture.jpg", turned(picture("jpeg", 600, 300)));
  options.useMyFiles = true;
  options.useOfflineFiles = true;
  options.user = "anna";
  provider.appear();
  startHost();
  ASSERT_TRUE(awaitConnections(1));
  const std::string item = "/MY_FILES/share/picture.jpg";
  const auto listed = [this](auto ask) {
    auto [reply, future] = awaited<DictionaryList>();
    ask(*provider.server(), std::move(reply));
    return std::get<0>(future.get());
  };
  const auto ask = [&](void (ZeltoFileProviderServerInterface::*list)(ListReply)) {
    return listed([list](auto& served, ListReply reply) { (served.*list)(std::move(reply)); });
  };
  const auto awaitItem = [&](const char* key) {
    return eventually([&] {
      const auto items = listed([](auto& served, ListReply reply) {
        served.metadataForDirectory("/MY_FILES/share", false, std::move(reply));
      });
      const auto* found = named(items, "picture.jpg");
      return found != nullptr && isTrue(*found, key);
    });
  };
  const auto served = provider.server();
  served->addBookmarkForPath(item);
  EXPECT_TRUE(awaitItem("bookmarked"));
  const auto bookmarks = ask(&ZeltoFileProviderServerInterface::metadataForBookmarksWithCompletion);
  ASSERT_EQ(1U, bookmarks.size());
  EXPECT_EQ("../MY_FILES/share/picture.jpg", textOf(bookmarks.front(), "targetPath"));
  served->makeAvailableOfflineForPath(item);
  EXPECT_TRUE(awaitItem("offlineBookmark"));
  EXPECT_EQ(1U, ask(&ZeltoFileProviderServerInterface::metadataForRootOfflineFilesWithCompletion).size());
  served->makeAvailableOfflineForPath("/MY_FILES/share");
  EXPECT_TRUE(eventually([&] {
    return isTrue(ask(&ZeltoFileProviderServerInterface::metadataForSharesWithCompletion).front(),
                  "offlineShare");
  }));
  served->checkOutFileAtPath(item);
  EXPECT_TRUE(awaitItem("checkedOutByCurrentUser"));
  served->checkInFileAtPath(item);
  EXPECT_TRUE(awaitItem("canCheckOut"));
  served->removeBookmarkForPath(item);
  EXPECT_TRUE(eventually(
      [&] { return ask(&ZeltoFileProviderServerInterface::metadataForBookmarksWithCompletion).empty(); }));
  auto [reply, future] = awaited<std::optional<NSData>, std::optional<NSError>>();
  served->thumbnailForPath(item, std::move(reply));
  const auto [data, error] = future.get();
  ASSERT_TRUE(data) << error->localizedDescription();
  const auto image = decodedPicture(data->text());
  EXPECT_EQ(128, gdk_pixbuf_get_width(image.get()));
  EXPECT_EQ(256, gdk_pixbuf_get_height(image.get()));
}

TEST_F(HostConnectionTest, TheBusAsksForWhatWasShown) {
  options.useMyFiles = true;
  options.user = "anna";
  startHost();
  const std::string file = "/MY_FILES/share/file";
  EXPECT_EQ("{}", std::get<std::string>(control("LastNotice")->front()));
  EXPECT_TRUE(control("SetCustomField", "sss", {file, std::string("Project"), std::string("Bridge")}));
  EXPECT_EQ(R"({"Project":"Bridge"})", std::get<std::string>(control("CustomFields", "s", {file})->front()));
  EXPECT_FALSE(control("SetCustomField", "sss", {file, std::string(), std::string("x")}));
  EXPECT_EQ("{}", std::get<std::string>(control("CheckoutStatus", "s", {file})->front()));
  EXPECT_TRUE(control("CheckOut", "s", {file}));
  const auto state = NSJSONSerialization::valueWithString(
      std::get<std::string>(control("CheckoutStatus", "s", {file})->front()));
  EXPECT_EQ("anna", textOf(*state->asDictionary(), "user"));
  EXPECT_TRUE(control("CheckIn", "s", {file}));
  EXPECT_FALSE(control("CheckOut", "s", {std::string("/MY_FILES/share/none")}));
}

// The desktop's part of the conversation.
TEST_F(HostConnectionTest, NoticesReachTheDesktop) {
  std::promise<BusArguments> shown;
  auto desktop = *SessionBus::connect();
  BusInterface notifications{"org.freedesktop.Notifications", {}, {}};
  notifications.methods.push_back(
      {"Notify", "susssasa{sv}i", "u", [&shown](const BusMethodCall& call, BusReply reply) {
         shown.set_value(call.arguments);
         reply(BusArguments{std::uint32_t{1}});
       }});
  ASSERT_FALSE(desktop->exportObject("/org/freedesktop/Notifications", notifications));
  ASSERT_FALSE(desktop->requestName("org.freedesktop.Notifications"));
  provider.appear();
  options.useMyFiles = true;
  startHost();
  ASSERT_TRUE(awaitConnections(1));
  ASSERT_TRUE(control("SetCustomField", "sss",
                      {std::string("/MY_FILES/share/file"), std::string("A&B"), std::string("<x>")}));
  provider.server()->showCustomFieldsForPath("/MY_FILES/share/file");
  const auto arguments = shown.get_future().get();
  EXPECT_EQ("Zelto", std::get<std::string>(arguments[0]));
  EXPECT_EQ("file", std::get<std::string>(arguments[3]));
  EXPECT_EQ("A&amp;B: &lt;x&gt;", std::get<std::string>(arguments[4]));
  const auto last =
      NSJSONSerialization::valueWithString(std::get<std::string>(control("LastNotice")->front()));
  EXPECT_EQ("A&B: <x>", textOf(*last->asDictionary(), "text"));
}

TEST(HostOptionsTest, SaysWhatIsWrong) {
  const auto parse = [](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "zelto-host");
    std::vector<char*> raw;
    for (auto& argument : arguments) raw.push_back(argument.data());
    raw.push_back(nullptr);
    return HostOptions::parse(static_cast<int>(arguments.size()), raw.data());
  };
  const auto full = parse(
      {"--folder", "/srv", "--domain", "d_1", "--my-files", "on", "--offline-files=off", "--log", "/tmp/l"});
  ASSERT_TRUE(full);
  EXPECT_EQ("d_1", full->domain);
  EXPECT_EQ(true, full->useMyFiles);
  EXPECT_EQ(false, full->useOfflineFiles);
  const auto office = parse({"--folder", "/srv", "--user", "anna", "--manage-checkouts", "--office-online",
                             "https://o/{path}", "--open-command", "/bin/true"});
  ASSERT_TRUE(office);
  EXPECT_EQ("anna", office->user);
  EXPECT_TRUE(office->mayManageCheckouts);
  EXPECT_EQ("https://o/{path}", office->officeOnline);
  EXPECT_EQ("/bin/true", office->openCommand);
  ::setenv("ZELTO_OFFICE_365", "https://o365/", 1);
  ::setenv("ZELTO_USER", "bob", 1);
  EXPECT_EQ("https://o365/", parse({"--folder", "/srv"})->office365);
  EXPECT_EQ("anna", parse({"--folder", "/srv", "--user", "anna"})->user);
  ::setenv("ZELTO_USER", "\n", 1);
  EXPECT_FALSE(parse({"--folder", "/srv"}));
  ::unsetenv("ZELTO_USER");
  EXPECT_FALSE(parse({"--folder", "/srv"})->useMyFiles.has_value());
  for (const auto& bad : std::vector<std::vector<std::string>>{{},
                                                               {"--folder"},
                                                               {"--folder", "/srv", "extra"},
                                                               {"--folder", "/srv", "--my-files", "maybe"},
                                                               {"--folder", "/srv", "--domain", "../x"},
                                                               {"--folder", "/srv", "--domain", "2nd"},
                                                               {"--folder", "/srv", "--user", ""},
                                                               {"--folder", "/srv", "--user", "a\nb"},
                                                               {"--folder", "/srv", "--office-365", "office"},
                                                               {"--unknown"}}) {
    EXPECT_FALSE(parse(bad));
  }
}

}  // namespace
}  // namespace zelto::test
