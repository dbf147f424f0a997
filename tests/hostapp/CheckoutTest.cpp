#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "hostapp/ReservedName.h"
#include "tests/hostapp/HostFixture.h"

namespace zelto::test {
namespace {

bool isAbsent(const NSDictionary& dictionary, const char* key) { return dictionary.find(key) == nullptr; }

// Two hosts that serve one folder to two users.
class CheckoutTest : public ::testing::Test {
 protected:
  void SetUp() override {
    server.write("share/dir/file.txt", "content");
    server.write("share/other.txt", "x");
    anna.adjust = [](HostParts::Given& given) { given.user = "anna"; };
    bob.adjust = [](HostParts::Given& given) { given.user = "bob"; };
    anna.start();
    bob.start();
    for (auto* host : {&anna, &bob}) {
      host->list("/My Files/share");
      host->list("/My Files/share/dir");
      host->take();
      host->take();
    }
  }

  std::optional<NSError> upload(TestHost& host, const std::string& identifier, bool creating) {
    server.write("../group/staged", "uploaded");
    auto [reply, future] = awaited<std::optional<NSDictionary>, std::optional<NSError>>();
    host.service->uploadFileWithPath(identifier, NSURL::fileURL(server.group() + "/staged"), creating,
                                     std::nullopt, std::move(reply));
    auto [dictionary, error] = future.get();
    if (dictionary) last = *dictionary;
    return error;
  }
  std::optional<NSError> failedMove(TestHost& host, const std::string& from, const std::string& to) {
    auto [reply, future] = awaited<std::optional<NSDictionary>, std::optional<NSError>>();
    host.service->moveItemWithPath(from, to, std::move(reply));
    return std::get<1>(future.get());
  }
  std::optional<NSError> failedRemoval(TestHost& host, const std::string& identifier) {
    auto [reply, future] = awaited<std::optional<NSError>>();
    host.service->deleteItemWithPath(identifier, std::move(reply));
    return std::get<0>(future.get());
  }
  // The file as the host lists it.
  NSDictionary file(TestHost& host, const std::string& folder, const std::string& name) {
    const auto items = host.list(folder);
    const auto* found = named(items, name);
    EXPECT_NE(nullptr, found);
    return found != nullptr ? *found : NSDictionary();
  }
  static void expectRefused(const std::optional<NSError>& error) {
    ASSERT_TRUE(error);
    EXPECT_EQ(513, error->code());
    EXPECT_NE(std::string::npos, error->localizedDescription().find("anna has checked it out"))
        << error->localizedDescription();
  }

  const std::string kDir = "/My Files/share/dir";
  const std::string kFile = "/My Files/share/dir/file.txt";
  ServerFolder server;
  TestHost anna{server, "anna"};
  TestHost bob{server, "bob"};
  NSDictionary last;
};

TEST_F(CheckoutTest, BothHostsShowWhoHasAFile) {
  const auto before = file(anna, kDir, "file.txt");
  EXPECT_TRUE(isTrue(before, "canShowCheckoutStatus"));
  EXPECT_TRUE(isTrue(before, "canCheckOut"));
  EXPECT_TRUE(isAbsent(before, "canCheckIn") && isAbsent(before, "checkoutLabel"));

  anna.service->checkOutFileAtPath(kFile);
  const auto hers = *anna.awaitUpdate(kFile).update(kFile);
  EXPECT_TRUE(isTrue(hers, "checkedOutByCurrentUser") && isTrue(hers, "canCheckIn"));
  EXPECT_TRUE(isTrue(hers, "shareWritable"));
  EXPECT_EQ("Checked out by you", textOf(hers, "checkoutLabel"));
  EXPECT_TRUE(isAbsent(hers, "canCheckOut"));

  const auto his = *bob.awaitUpdate(kFile).update(kFile);
  EXPECT_TRUE(isTrue(his, "checkedOutByOtherUser"));
  EXPECT_EQ("Checked out by anna", textOf(his, "checkoutLabel"));
  EXPECT_TRUE(isAbsent(his, "shareWritable") && isAbsent(his, "canCheckIn") && isAbsent(his, "canCheckOut"));

  anna.service->checkInFileAtPath(kFile);
  EXPECT_TRUE(isTrue(*bob.awaitUpdate(kFile).update(kFile), "shareWritable"));
  EXPECT_TRUE(isTrue(file(bob, kDir, "file.txt"), "canCheckOut"));
}

TEST_F(CheckoutTest, NobodyElseChangesAFileThatIsCheckedOut) {
  ASSERT_FALSE(anna.parts->actions->checkOut(kFile));
  expectRefused(upload(bob, kFile, false));
  expectRefused(failedMove(bob, kFile, "/My Files/share/dir/other.txt"));
  expectRefused(failedMove(bob, kDir, "/My Files/share/dir2"));
  expectRefused(failedRemoval(bob, kFile));
  expectRefused(failedRemoval(bob, kDir));
  expectRefused(bob.parts->actions->checkOut(kFile));
  expectRefused(bob.parts->actions->checkIn(kFile));
  EXPECT_EQ("content", contentOf(server.path("share/dir/file.txt")));
  EXPECT_FALSE(bob.parts->actions->checkOut("/My Files/share/other.txt")) << "others are free";

  EXPECT_FALSE(upload(anna, kFile, false));
  EXPECT_TRUE(isTrue(last, "checkedOutByCurrentUser")) << "an upload leaves it checked out";
  EXPECT_FALSE(anna.parts->actions->checkIn(kFile));
  EXPECT_FALSE(upload(bob, kFile, false));
}

TEST_F(CheckoutTest, AFailedActionIsShown) {
  ASSERT_FALSE(anna.parts->actions->checkOut(kFile));
  bob.service->checkOutFileAtPath(kFile);
  ASSERT_TRUE(eventually([this] { return bob.parts->notices->last().has_value(); }));
  EXPECT_EQ("file.txt", bob.parts->notices->last()->title);
  EXPECT_NE(std::string::npos, bob.parts->notices->last()->text.find("anna has checked it out"));
  bob.service->showCheckoutStatusForPath(kFile);
  EXPECT_TRUE(eventually([this] { return bob.parts->notices->last()->text.starts_with("anna has"); }));
}

TEST_F(CheckoutTest, WhoManagesMayCheckInForOthers) {
  ASSERT_FALSE(anna.parts->actions->checkOut(kFile));
  bob.stop();
  bob.adjust = [](HostParts::Given& given) {
    given.user = "bob";
    given.mayManageCheckouts = true;
  };
  bob.start();
  const auto his = file(bob, kDir, "file.txt");
  EXPECT_TRUE(isTrue(his, "checkedOutByOtherUser") && isTrue(his, "checkoutManager"));
  EXPECT_TRUE(isTrue(his, "canCheckIn"));
  expectRefused(upload(bob, kFile, false));
  EXPECT_FALSE(bob.parts->actions->checkIn(kFile));
  EXPECT_FALSE(upload(bob, kFile, false));
}

TEST_F(CheckoutTest, ACheckOutFollowsMovesAndEndsWithTheFile) {
  server.folder("second");
  ASSERT_FALSE(anna.parts->actions->checkOut(kFile));
  EXPECT_TRUE(isTrue(anna.move(kFile, kDir + "/new.txt"), "checkedOutByCurrentUser"));
  anna.move(kDir, "/My Files/second/dir");
  expectRefused(upload(bob, "/My Files/second/dir/new.txt", false));
  EXPECT_FALSE(upload(bob, "/My Files/second/dir/free.txt", true));
  anna.remove("/My Files/second/dir/new.txt");
  EXPECT_FALSE(upload(bob, "/My Files/second/dir/new.txt", true));
  EXPECT_TRUE(isTrue(last, "canCheckOut"));
}

TEST_F(CheckoutTest, ACheckOutDoesNotOutliveAFileRemovedOnTheServer) {
  ASSERT_FALSE(anna.parts->actions->checkOut(kFile));
  server.remove("share/dir/file.txt");
  EXPECT_FALSE(upload(bob, kFile, true));
  EXPECT_TRUE(isTrue(last, "canCheckOut"));
  EXPECT_TRUE(isAbsent(file(anna, kDir, "file.txt"), "checkedOutByCurrentUser"));
}

// What changed while a host was not there is in its first answer; what it knew itself is still there.
TEST_F(CheckoutTest, ARestartedHostKnows) {
  ASSERT_FALSE(anna.parts->actions->checkOut(kFile));
  bob.awaitUpdate(kFile);
  bob.take();
  bob.stop();
  anna.restart();
  EXPECT_TRUE(isTrue(file(anna, kDir, "file.txt"), "checkedOutByCurrentUser"));
  ASSERT_FALSE(anna.parts->actions->checkIn(kFile));
  ASSERT_FALSE(anna.parts->actions->checkOut("/My Files/share/other.txt"));
  bob.start();
  bool isFree = false;
  bool otherTaken = false;
  bob.takeUntil([&, this](const Changes& changes) {
    const auto* one = changes.update(kFile);
    const auto* other = changes.update("/My Files/share/other.txt");
    isFree = isFree || (one != nullptr && isTrue(*one, "canCheckOut"));
    otherTaken = otherTaken || (other != nullptr && isTrue(*other, "checkedOutByOtherUser"));
    return isFree && otherTaken;
  });
}

TEST_F(CheckoutTest, OnlyOneOfTwoHasIt) {
  std::atomic<int> holders = 0;
  std::atomic<int> got = 0;
  const auto work = [&](TestHost& host) {
    for (int i = 0; i < 100; ++i) {
      if (host.parts->actions->checkOut(kFile)) continue;
      EXPECT_EQ(0, holders.fetch_add(1));
      ++got;
      --holders;
      EXPECT_FALSE(host.parts->actions->checkIn(kFile));
    }
  };
  std::thread other([&] { work(bob); });
  work(anna);
  other.join();
  EXPECT_GT(got, 0);
  EXPECT_FALSE(*anna.parts->actions->checkout(kFile));
}

TEST_F(CheckoutTest, WhoMayWriteInTheShareMayCheckOut) {
  ASSERT_EQ(0, ::chmod(server.path("share").c_str(), 0773));
  ASSERT_FALSE(anna.parts->actions->checkOut(kFile));
  const auto hidden = "share/" + std::string(kRecordFolderName);
  EXPECT_EQ(0773U, server.status(hidden).st_mode & 07777);
  EXPECT_EQ(0662U, server.status(hidden + "/table.json").st_mode & 07777);
  // Somebody tidies up: a new one is made, and seen by the others.
  server.remove(hidden);
  EXPECT_TRUE(isTrue(file(bob, kDir, "file.txt"), "canCheckOut"));
  ASSERT_FALSE(anna.parts->actions->checkOut(kFile));
  EXPECT_TRUE(isTrue(file(bob, kDir, "file.txt"), "checkedOutByOtherUser"));
  EXPECT_TRUE(isTrue(*bob.awaitUpdate(kFile).update(kFile), "checkedOutByOtherUser"));
}

// Listing a folder removes what looks left behind in it; the hidden folder in the making is not.
TEST_F(CheckoutTest, AFirstCheckOutIsNotSweptAway) {
  std::atomic<bool> over = false;
  std::thread lister([&] {
    while (!over) bob.parts->backend->list("share");
  });
  for (int i = 0; i < 100; ++i) {
    const auto error = anna.parts->actions->checkOut(kFile);
    EXPECT_FALSE(error) << error->localizedDescription();
    server.remove("share/" + std::string(kRecordFolderName));
  }
  over = true;
  lister.join();
}

TEST_F(CheckoutTest, TheHiddenFolderIsNeverServed) {
  ASSERT_FALSE(anna.parts->actions->checkOut(kFile));
  const std::string hidden = "/My Files/share/" + std::string(kRecordFolderName);
  ASSERT_EQ(0,
            ::access(server.path("share/" + std::string(kRecordFolderName) + "/table.json").c_str(), R_OK));
  EXPECT_EQ(2U, anna.list("/My Files/share").size());
  EXPECT_TRUE(anna.list(hidden).empty());
  EXPECT_FALSE(anna.parts->resolver->dictionary(hidden));
  EXPECT_FALSE(anna.parts->resolver->dictionary(hidden + "/table.json"));
  EXPECT_FALSE(anna.parts->backend->open("share/" + std::string(kRecordFolderName) + "/table.json"));
  EXPECT_TRUE(upload(anna, hidden + "/table.json", false));
  EXPECT_TRUE(upload(anna, hidden, true));
  EXPECT_TRUE(failedRemoval(anna, hidden));
  EXPECT_TRUE(failedMove(anna, "/My Files/share/other.txt", hidden + "/x"));
}

TEST_F(CheckoutTest, ABrokenTableIsNoTable) {
  ASSERT_FALSE(anna.parts->actions->checkOut(kFile));
  server.write("share/" + std::string(kRecordFolderName) + "/table.json", "{\"checkouts\":[");
  EXPECT_TRUE(isTrue(file(bob, kDir, "file.txt"), "canCheckOut"));
  EXPECT_FALSE(bob.parts->actions->checkOut(kFile));
  EXPECT_TRUE(isTrue(file(anna, kDir, "file.txt"), "checkedOutByOtherUser"));
}

// A host that hangs in the middle of a change must not hold up the others for ever.
TEST_F(CheckoutTest, ALockThatIsNotGivenBackIsNotWaitedForLong) {
  ASSERT_FALSE(anna.parts->actions->checkOut(kFile));
  const UniqueDescriptor hung(::open(server.path("share/" + std::string(kRecordFolderName)).c_str(),
                                     O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_EQ(0, ::flock(hung.get(), LOCK_EX));
  const auto error = anna.parts->actions->checkIn(kFile);
  ASSERT_TRUE(error);
  EXPECT_EQ(EBUSY, error->code());
}

TEST_F(CheckoutTest, WhatCannotBeWrittenCannotBeCheckedOut) {
  ASSERT_EQ(0, ::chmod(server.path("share/other.txt").c_str(), 0444));
  EXPECT_TRUE(anna.parts->actions->checkOut("/My Files/share/other.txt"));
  EXPECT_TRUE(anna.parts->actions->checkOut(kDir));
  EXPECT_TRUE(anna.parts->actions->checkOut("/My Files/share/none"));
  EXPECT_FALSE(anna.parts->actions->checkIn("/My Files/share/other.txt"));
  EXPECT_NE(0, ::access(server.path("share/" + std::string(kRecordFolderName)).c_str(), F_OK));
}

}  // namespace
}  // namespace zelto::test
