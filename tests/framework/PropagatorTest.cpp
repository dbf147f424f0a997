#include "tests/framework/PropagationFixture.h"

namespace zelto::test {
namespace {

using namespace std::chrono_literals;

struct PropagatorTest : PropagationFixture {};

TEST_F(PropagatorTest, WhatIsMadeChangedMovedAndRemovedReachesTheServer) {
  server.put("/share/old", "one");
  server.put("/share/gone", "x");
  start();
  makeFolder("share/folder");
  makeFolder("share/folder/deep");
  write("share/folder/deep/file", "hello");
  write("share/old", "two");
  remove("share/gone");
  expectSent();
  EXPECT_EQ(server.tree(), (Tree{{"/share", "/"},
                                 {"/share/folder", "/"},
                                 {"/share/folder/deep", "/"},
                                 {"/share/folder/deep/file", "hello"},
                                 {"/share/old", "two"}}));
  rename("share/folder/deep", "share/other");
  rename("share/other/file", "share/folder/moved");
  expectSent();
  EXPECT_EQ(server.tree(), (Tree{{"/share", "/"},
                                 {"/share/folder", "/"},
                                 {"/share/folder/moved", "hello"},
                                 {"/share/other", "/"},
                                 {"/share/old", "two"}}));
  EXPECT_EQ(stateOf("share/folder/moved"), "current");
  EXPECT_TRUE(conflictsSoFar().empty());
  expectNoLitter();
}

TEST_F(PropagatorTest, ANewFolderIsListedSoThatItIsWatched) {
  start();
  makeFolder("share/folder");
  expectSent();
  EXPECT_TRUE(server.waitFor("list /share/folder"));
}

TEST_F(PropagatorTest, WhatIsMadeAndRemovedAgainIsNeverSent) {
  settings.sending.settleDown = settings.sending.settleAtMost = 1h;
  start();
  write("share/temporary", "x");
  remove("share/temporary");
  makeFolder("share/folder");
  remove("share/folder");
  expectSent();
  EXPECT_EQ(server.changes(), Lines{});
}

TEST_F(PropagatorTest, SafeSavesAreOneUpload) {
  settings.sending.settleDown = settings.sending.settleAtMost = 1h;
  server.put("/share/text.txt", "one");
  start();
  // Through a new file that takes the old one's place.
  write("share/text.txt.new", "two");
  rename("share/text.txt.new", "share/text.txt");
  expectSent();
  EXPECT_EQ(server.changes(), Lines{"upload /share/text.txt"});
  // With the old one put aside and removed afterwards.
  rename("share/text.txt", "share/text.bak");
  write("share/text.txt", "three");
  remove("share/text.bak");
  expectSent();
  EXPECT_EQ(server.tree(), (Tree{{"/share", "/"}, {"/share/text.txt", "three"}}));
  EXPECT_TRUE(conflictsSoFar().empty());
}

TEST_F(PropagatorTest, AFileThatIsNamedLikeAPackageIsAFile) {
  start();
  write("share/notes.app", "text");
  expectSent();
  EXPECT_EQ(server.tree().at("/share/notes.app"), "text");
}

TEST_F(PropagatorTest, AFileSavedWhileItIsSentIsSentAgainAsItIsLast) {
  server.put("/share/file", "0");
  server.next("upload", "/share/file", Fate::hold);
  start();
  write("share/file", "1");
  propagator->flushNow();
  ASSERT_TRUE(server.waitForHeld(1));
  EXPECT_EQ(stateOf("share/file"), "uploading");
  for (const char* text : {"22", "333", "4444", "55555"}) write("share/file", text);
  server.release();
  expectSent();
  EXPECT_EQ(server.tree().at("/share/file"), "55555");
  EXPECT_EQ(server.count("upload /share/file"), 2);
  EXPECT_TRUE(conflictsSoFar().empty());
}

TEST_F(PropagatorTest, AtMostFourUploadsAndOneStepOfAnItemAtATime) {
  start();
  for (int i = 0; i < 10; ++i) {
    const std::string name = "file" + std::to_string(i);
    server.next("create", "/share/" + name, Fate::hold);
    write("share/" + name, name);
  }
  makeFolder("share/folder");
  propagator->flushNow();
  ASSERT_TRUE(server.waitForHeld(4));
  ASSERT_TRUE(server.waitFor("create /share/folder"));
  propagator->drain();
  EXPECT_EQ(server.held(), 4U);
  EXPECT_EQ(server.count("create /share/file0"), 1);
  for (int i = 0; i < 10; ++i) {
    ASSERT_TRUE(server.waitFor("create /share/file" + std::to_string(i)));
    server.release();
  }
  expectSent();
  EXPECT_EQ(server.tree().size(), 12U);
}

TEST_F(PropagatorTest, AFileThatIsKeptOpenIsSentOnceAsItIsAndAgainWhenItIsClosed) {
  settings.sending.openAtMost = 1h;
  start();
  const auto file = openToWrite("share/log");
  writeTo(*file, "first");
  expectSent();  // who waits gets open files, too
  EXPECT_EQ(server.tree().at("/share/log"), "first");
  EXPECT_EQ(stateOf("share/log"), "current");
  expectSent();
  EXPECT_EQ(server.changes(), Lines{"create /share/log"});
  writeTo(*file, "second");
  replica->endWriting(file->inode(), *file);
  expectSent();
  EXPECT_EQ(server.tree().at("/share/log"), "second");
  EXPECT_EQ(server.changes(), (Lines{"create /share/log", "upload /share/log"}));
}

TEST_F(PropagatorTest, AFileThatIsQuietIsSentThoughItIsOpen) {
  settings.sending.openAtMost = 30ms;
  server.put("/share/log", "");
  start();
  const auto file = openToWrite("share/log");
  writeTo(*file, "first");
  ASSERT_TRUE(server.waitFor("upload /share/log"));
  replica->endWriting(file->inode(), *file);
}

TEST_F(PropagatorTest, AFileThatIsOpenWaitsForBeingClosed) {
  settings.sending.openAtMost = 1h;
  start();
  const auto file = openToWrite("share/log");
  writeTo(*file, "first");
  write("share/other", "x");
  ASSERT_TRUE(server.waitFor("create /share/other"));
  EXPECT_EQ(server.count("create /share/log"), 0);
  EXPECT_EQ(stateOf("share/log"), "pending");
  replica->endWriting(file->inode(), *file);
  ASSERT_TRUE(server.waitFor("create /share/log"));
  expectSent();
}

TEST_F(PropagatorTest, WithoutAHostNothingIsSentAndEverythingWhenItComes) {
  server.put("/share/file", "0");
  start();
  propagator->hostLost();
  write("share/file", "1");
  write("share/new", "2");
  propagator->flushNow();
  propagator->drain();
  EXPECT_EQ(server.changes(), Lines{});
  EXPECT_EQ(propagator->counts().pending, 2U);
  EXPECT_EQ(propagator->pending(1).size(), 1U);
  propagator->hostReady();
  expectSent();
  EXPECT_EQ(server.tree(), (Tree{{"/share", "/"}, {"/share/file", "1"}, {"/share/new", "2"}}));
}

TEST_F(PropagatorTest, AHostThatIsLostInBetweenIsAskedAgainByTheNext) {
  server.put("/share/file", "0");
  server.next("upload", "/share/file", Fate::keepSilent);
  start();
  write("share/file", "1");
  ASSERT_TRUE(server.waitFor("upload /share/file"));
  propagator->hostLost();
  propagator->drain();
  EXPECT_EQ(stateOf("share/file"), "pending");
  EXPECT_EQ(propagator->pending(1).front().attempts, 0U);
  propagator->hostReady();
  expectSent();
  EXPECT_EQ(server.tree().at("/share/file"), "1");
  EXPECT_TRUE(conflictsSoFar().empty());
  expectNoLitter();
}

TEST_F(PropagatorTest, ALateAnswerOfALostHostDoesNoHarm) {
  server.put("/share/file", "0");
  server.next("upload", "/share/file", Fate::hold);
  start();
  write("share/file", "1");
  ASSERT_TRUE(server.waitForHeld(1));
  propagator->hostLost();
  propagator->hostReady();
  ASSERT_TRUE(server.waitFor("upload /share/file", 2));
  server.release();
  expectSent();
  EXPECT_EQ(server.tree().at("/share/file"), "1");
  EXPECT_TRUE(conflictsSoFar().empty());
}

TEST_F(PropagatorTest, ARequestWithoutAnswerOrProgressIsGivenUpAndMadeAgain) {
  settings.patience = 30ms;
  settings.sending.firstPause = 1ms;
  server.put("/share/file", "0");
  server.next("upload", "/share/file", Fate::keepSilent);
  start();
  write("share/file", "1");
  ASSERT_TRUE(server.waitFor("upload /share/file", 2));
  expectSent();
  EXPECT_EQ(server.tree().at("/share/file"), "1");
  EXPECT_TRUE(conflictsSoFar().empty());
}

TEST_F(PropagatorTest, FailuresThatMayPassAreTriedAgainAndOthersAreTold) {
  settings.sending.firstPause = 1ms;
  const auto unreachable = NSError(NSFileProviderErrorDomain, NSFileProviderErrorServerUnreachable,
                                   NSDictionary{{NSLocalizedDescriptionKey, "away"}});
  for (int i = 0; i < 2; ++i) server.next("create", "/share/file", Fate::fail, unreachable);
  server.next("create", "/share/denied", Fate::fail, cocoaError(513, "You may not."));
  start();
  write("share/file", "1");
  write("share/denied", "2");
  const auto failed = send();
  ASSERT_EQ(failed.size(), 1U);
  EXPECT_EQ(failed[0].info.path, "share/denied");
  EXPECT_EQ(failed[0].reason, "You may not.");
  EXPECT_EQ(failed[0].state, PendingChange::State::failed);
  EXPECT_EQ(failed[0].attempts, 1U);
  EXPECT_EQ(stateOf("share/denied"), "failed: You may not.");
  EXPECT_EQ(server.count("create /share/file"), 3);
  EXPECT_EQ(propagator->counts().failed, 1U);
  EXPECT_TRUE(propagator->retry(at("share/denied")));
  expectSent();
  EXPECT_EQ(server.tree().at("/share/denied"), "2");
}

TEST_F(PropagatorTest, WhatComesAfterAFailedOneIsToldToo) {
  server.next("create", "/share/folder", Fate::fail, cocoaError(513, "You may not."));
  start();
  makeFolder("share/folder");
  write("share/folder/file", "x");
  const auto failed = send();
  ASSERT_EQ(failed.size(), 2U);
  EXPECT_EQ(failed[1].info.path, "share/folder/file");
  EXPECT_EQ(failed[1].reason, "comes after share/folder");
  propagator->retryAll();
  expectSent();
  EXPECT_EQ(server.tree().at("/share/folder/file"), "x");
}

TEST_F(PropagatorTest, AChangeCanBeGivenUpAlsoWhileItIsSent) {
  server.put("/share/file", "0");
  server.next("upload", "/share/file", Fate::keepSilent);
  start();
  write("share/file", "1");
  ASSERT_TRUE(server.waitFor("upload /share/file"));
  write("share/new", "2");
  const auto giveUp = [this](Inode inode) {
    std::promise<int> done;
    propagator->cancel(inode, [&done](int error) { done.set_value(error); });
    return done.get_future().get();
  };
  EXPECT_EQ(giveUp(at("share/file")), 0);
  expectSent();
  list(kRootInode);
  EXPECT_EQ(server.tree().at("/share/file"), "0");
  EXPECT_EQ(stateOf("share/file"), "current");
  EXPECT_EQ(replica->node(at("share/file"))->size, 1U);
  EXPECT_EQ(giveUp(at("share/file")), ENOENT);
}

TEST_F(PropagatorTest, ChangesOfAnEarlierRunAreSent) {
  lister.hostReady();
  list(kRootInode);
  write("share/file", "1");
  make();
  propagator->hostReady();
  expectSent();
  EXPECT_EQ(server.tree().at("/share/file"), "1");
}

TEST_F(PropagatorTest, ProgressAndCountsAreTold) {
  server.put("/share/file", "0");
  server.next("upload", "/share/file", Fate::hold);
  start();
  write("share/file", "1");
  ASSERT_TRUE(server.waitForHeld(1));
  propagator->drain();  // so that the progress is followed
  server.lastProgress()->setCompletedUnitCount(40);
  const auto pending = propagator->pending(10);
  ASSERT_EQ(pending.size(), 1U);
  EXPECT_EQ(pending[0].completed, 40);
  EXPECT_EQ(pending[0].total, 100);
  EXPECT_EQ(pending[0].state, PendingChange::State::uploading);
  EXPECT_EQ(told, 40);
  server.release();
  expectSent();
  EXPECT_EQ(propagator->counts(), Propagator::Counts{});
}

TEST_F(PropagatorTest, MetadataIsAskedForUntilNothingIsPending) {
  server.put("/share/file", "0");
  start();
  ASSERT_EQ(replica->setAttributes(at("share/file"),
                                   {.permissions = 0600, .modifiedNs = 12'000'000'000, .accessedNs = 5}),
            0);
  expectSent();
  EXPECT_EQ(server.count("metadata /share/file"), 3);
  // The date was only acknowledged: the next upload meets no other version.
  write("share/file", "1");
  expectSent();
  EXPECT_TRUE(conflictsSoFar().empty());
  EXPECT_EQ(server.tree().at("/share/file"), "1");
}

}  // namespace
}  // namespace zelto::test
