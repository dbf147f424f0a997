#include "tests/framework/PropagationFixture.h"

namespace zelto::test {
namespace {

using namespace std::chrono_literals;

// Somebody else is at work on the server at the same time, or answers were lost.
struct ConflictTest : PropagationFixture {
  // The one name in a folder that tells of a conflict.
  std::string conflictCopy(const std::string& folder) {
    std::string found;
    for (const auto& name : namesIn(folder)) {
      if (name.find(" (conflict 20") == std::string::npos) continue;
      EXPECT_EQ(found, "") << name;
      found = name;
    }
    EXPECT_NE(found, "");
    return found;
  }
};

TEST_F(ConflictTest, BothVersionsOfAFileAreKept) {
  server.put("/share/report.txt", "base");
  start();
  server.put("/share/report.txt", "theirs, longer");
  write("share/report.txt", "mine");
  expectSent();
  const auto copy = conflictCopy("share");
  EXPECT_TRUE(copy.starts_with("report (conflict "));
  EXPECT_TRUE(copy.ends_with(").txt"));
  EXPECT_EQ(server.tree(),
            (Tree{{"/share", "/"}, {"/share/report.txt", "theirs, longer"}, {"/share/" + copy, "mine"}}));
  EXPECT_EQ(namesIn("share"), (Lines{copy, "report.txt"}));
  EXPECT_EQ(replica->node(at("share/report.txt"))->size, 14U);
  EXPECT_EQ(propagator->counts().conflicts, 1U);
  ASSERT_EQ(conflictsSoFar().size(), 1U);
  EXPECT_TRUE(conflictsSoFar()[0].starts_with("share/report.txt: ")) << conflictsSoFar()[0];
  expectNoLitter();
}

TEST_F(ConflictTest, OneSizeButOtherBytesAreAConflictToo) {
  server.put("/share/file", "base");
  start();
  server.put("/share/file", "them");
  write("share/file", "mine");
  expectSent();
  EXPECT_EQ(server.tree().at("/share/file"), "them");
  EXPECT_EQ(server.tree().at("/share/" + conflictCopy("share")), "mine");
  expectNoLitter();
}

TEST_F(ConflictTest, TheSameBytesAreNone) {
  server.put("/share/file", "base");
  start();
  server.put("/share/file", "same");
  write("share/file", "same");
  expectSent();
  EXPECT_EQ(server.changes(), Lines{});
  EXPECT_EQ(namesIn("share"), Lines{"file"});
  // From here on the server's version is the base.
  write("share/file", "next");
  expectSent();
  EXPECT_EQ(server.tree().at("/share/file"), "next");
  EXPECT_TRUE(conflictsSoFar().empty());
  expectNoLitter();
}

TEST_F(ConflictTest, AnUploadWhoseAnswerWasLostIsNotMadeTwice) {
  settings.sending.firstPause = 1ms;
  server.put("/share/file", "base");
  server.next("upload", "/share/file", Fate::loseReply);
  start();
  write("share/file", "mine");
  ASSERT_TRUE(server.waitFor("look /share/file", 2));
  expectSent();
  EXPECT_EQ(server.changes(), Lines{"upload /share/file"});
  EXPECT_EQ(server.count("fetch /share/file"), 0);
  EXPECT_TRUE(conflictsSoFar().empty());
}

TEST_F(ConflictTest, WhatIsWrittenAfterALostAnswerIsNoConflictWithOurselves) {
  server.put("/share/file", "base");
  server.next("upload", "/share/file", Fate::loseReply);
  start();
  write("share/file", "mine");
  ASSERT_TRUE(server.waitFor("upload /share/file"));
  waitForOutcome();
  write("share/file", "mine, later");
  propagator->retryAll();
  expectSent();
  EXPECT_EQ(server.tree(), (Tree{{"/share", "/"}, {"/share/file", "mine, later"}}));
  EXPECT_TRUE(conflictsSoFar().empty());
}

TEST_F(ConflictTest, ACreationWhoseAnswerWasLostIsTakenAsDone) {
  settings.sending.firstPause = 1ms;
  server.next("create", "/share/file", Fate::loseReply);
  server.next("create", "/share/folder", Fate::loseReply);
  start();
  write("share/file", "mine");
  makeFolder("share/folder");
  ASSERT_TRUE(server.waitFor("create /share/file"));
  expectSent();
  EXPECT_EQ(server.tree(), (Tree{{"/share", "/"}, {"/share/file", "mine"}, {"/share/folder", "/"}}));
  EXPECT_TRUE(conflictsSoFar().empty());
  expectNoLitter();
}

// Of one size, and newer, as what was created would be.
TEST_F(ConflictTest, AfterALostAnswerAnothersFileIsNotTakenForOurs) {
  start();
  server.setClock(static_cast<double>(std::time(nullptr)) + 60);
  for (const char* name : {"kept", "gone"}) {
    server.put(std::string("/share/") + name, "them");
    server.next("create", std::string("/share/") + name, Fate::loseReply);
    write(std::string("share/") + name, "mine");
  }
  ASSERT_TRUE(server.waitFor("create /share/kept"));
  ASSERT_TRUE(server.waitFor("create /share/gone"));
  waitForOutcome();
  remove("share/gone");
  propagator->retryAll();
  expectSent();
  const auto copy = conflictCopy("share");
  EXPECT_EQ(
      server.tree(),
      (Tree{{"/share", "/"}, {"/share/gone", "them"}, {"/share/kept", "them"}, {"/share/" + copy, "mine"}}));
  expectNoLitter();
}

TEST_F(ConflictTest, ANewFileWhoseNameIsTakenStepsAside) {
  start();
  server.put("/share/file", "theirs");
  server.putFolder("/share/thing");
  write("share/file", "mine");
  write("share/thing", "a file here");
  expectSent();
  EXPECT_EQ(server.tree().at("/share/file"), "theirs");
  EXPECT_EQ(server.tree().at("/share/thing"), "/");
  EXPECT_EQ(server.tree().size(), 5U);
  EXPECT_EQ(namesIn("share").size(), 4U);
  EXPECT_EQ(replica->node(at("share/thing"))->kind, NodeKind::folder);
  EXPECT_EQ(propagator->counts().conflicts, 2U);
}

TEST_F(ConflictTest, AFolderThatIsThereAlreadyIsTheSameAndAFileInItsPlaceIsNot) {
  start();
  server.putFolder("/share/both");
  server.put("/share/both/theirs", "1");
  server.put("/share/other", "a file there");
  makeFolder("share/both");
  write("share/both/mine", "2");
  makeFolder("share/other");
  write("share/other/inside", "3");
  expectSent();
  list(kRootInode);
  EXPECT_EQ(namesIn("share/both"), (Lines{"mine", "theirs"}));
  EXPECT_EQ(server.tree().at("/share/both/mine"), "2");
  EXPECT_EQ(server.tree().at("/share/other"), "a file there");
  EXPECT_EQ(server.tree().at("/share/" + conflictCopy("share") + "/inside"), "3");
}

TEST_F(ConflictTest, WhatIsRemovedHereButChangedThereStays) {
  server.put("/share/file", "base");
  start();
  server.put("/share/file", "theirs");
  remove("share/file");
  expectSent();
  EXPECT_EQ(server.tree().at("/share/file"), "theirs");
  EXPECT_EQ(namesIn("share"), Lines{"file"});
  EXPECT_EQ(propagator->counts().conflicts, 1U);
  expectNoLitter();
}

TEST_F(ConflictTest, WhatMayNotBeReadThereCanBeReplacedAndRemovedAllTheSame) {
  server.put("/share/file", "base");
  server.put("/share/other", "base");
  for (const char* path : {"/share/file", "/share/other"}) {
    server.next("look", path, Fate::fail, cocoaError(257, "You may not."));
  }
  start();
  write("share/file", "mine");
  remove("share/other");
  expectSent();
  EXPECT_EQ(server.tree(), (Tree{{"/share", "/"}, {"/share/file", "mine"}}));
}

TEST_F(ConflictTest, WhatIsRemovedOnBothSidesIsGone) {
  server.put("/share/file", "base");
  server.putFolder("/share/folder");
  start();
  server.erase("/share/file");
  server.erase("/share/folder");
  remove("share/file");
  remove("share/folder");
  expectSent();
  EXPECT_EQ(server.tree(), (Tree{{"/share", "/"}}));
  EXPECT_TRUE(conflictsSoFar().empty());
}

TEST_F(ConflictTest, AFolderWithSomethingThatNobodySawIsNotRemoved) {
  server.putFolder("/share/folder");
  server.put("/share/folder/known", "1");
  start();
  server.put("/share/folder/unseen", "2");
  remove("share/folder/known");
  remove("share/folder");
  expectSent();
  EXPECT_EQ(server.tree(), (Tree{{"/share", "/"}, {"/share/folder", "/"}, {"/share/folder/unseen", "2"}}));
  list(kRootInode);
  EXPECT_EQ(namesIn("share/folder"), Lines{"unseen"});
  EXPECT_EQ(propagator->counts().conflicts, 1U);
}

TEST_F(ConflictTest, AWholeTreeIsRemovedFromTheInside) {
  server.putFolder("/share/a");
  server.putFolder("/share/a/b");
  server.put("/share/a/b/c", "1");
  server.put("/share/a/d", "2");
  start();
  for (const char* path : {"share/a/b/c", "share/a/b", "share/a/d", "share/a"}) remove(path);
  expectSent();
  EXPECT_EQ(server.tree(), (Tree{{"/share", "/"}}));
  EXPECT_TRUE(conflictsSoFar().empty());
}

TEST_F(ConflictTest, WhatIsChangedHereButRemovedThereIsMadeAnew) {
  server.putFolder("/share/folder");
  server.put("/share/folder/file", "base");
  start();
  server.erase("/share/folder");
  write("share/folder/file", "mine");
  expectSent();
  EXPECT_EQ(server.tree(), (Tree{{"/share", "/"}, {"/share/folder", "/"}, {"/share/folder/file", "mine"}}));
}

TEST_F(ConflictTest, ANewFileInAFolderThatIsGoneBringsItBack) {
  server.putFolder("/share/folder");
  start();
  server.erase("/share/folder");
  write("share/folder/new", "mine");
  expectSent();
  EXPECT_EQ(server.tree(), (Tree{{"/share", "/"}, {"/share/folder", "/"}, {"/share/folder/new", "mine"}}));
}

TEST_F(ConflictTest, WhatCameAlongWithAMoveUnseenIsNotOverwritten) {
  for (const char* path : {"/share/written", "/share/removed"}) server.put(path, "base");
  start();
  for (const char* path : {"/share/written", "/share/removed"}) {
    server.put(path, "them");
    server.next("move", std::string(path) + " " + path + "2", Fate::holdAnswer);
  }
  rename("share/written", "share/written2");
  rename("share/removed", "share/removed2");
  ASSERT_TRUE(server.waitForHeld(2));
  write("share/written2", "mine");
  remove("share/removed2");
  server.release();
  expectSent();
  EXPECT_EQ(server.tree().at("/share/written2"), "them");
  EXPECT_EQ(server.tree().at("/share/removed2"), "them");
  EXPECT_EQ(server.tree().at("/share/" + conflictCopy("share")), "mine");
}

TEST_F(ConflictTest, AMoveToANameThatIsTakenThereEndsBesideIt) {
  server.put("/share/from.txt", "mine");
  start();
  server.put("/share/to.txt", "theirs");
  rename("share/from.txt", "share/to.txt");
  expectSent();
  const auto copy = conflictCopy("share");
  EXPECT_EQ(server.tree(), (Tree{{"/share", "/"}, {"/share/to.txt", "theirs"}, {"/share/" + copy, "mine"}}));
  EXPECT_EQ(namesIn("share"), (Lines{copy, "to.txt"}));
}

TEST_F(ConflictTest, AMoveWhoseAnswerWasLostIsTakenAsDone) {
  settings.sending.firstPause = 1ms;
  server.put("/share/from", "x");
  server.putFolder("/share/folder");
  server.next("move", "/share/from /share/to", Fate::loseReply);
  server.next("move", "/share/folder /share/other", Fate::loseReply);
  start();
  rename("share/from", "share/to");
  rename("share/folder", "share/other");
  ASSERT_TRUE(server.waitFor("move /share/from /share/to", 2));
  expectSent();
  EXPECT_EQ(server.tree(), (Tree{{"/share", "/"}, {"/share/to", "x"}, {"/share/other", "/"}}));
  EXPECT_TRUE(conflictsSoFar().empty());
}

TEST_F(ConflictTest, AMoveOfWhatIsGoneThereIsForgotten) {
  server.put("/share/from", "x");
  start();
  server.erase("/share/from");
  rename("share/from", "share/to");
  expectSent();
  EXPECT_EQ(server.tree(), (Tree{{"/share", "/"}}));
  EXPECT_EQ(namesIn("share"), Lines{});
}

TEST_F(ConflictTest, NamesThatChangePlacesDoSoOnTheServer) {
  server.put("/share/a", "1");
  server.put("/share/b", "2");
  start();
  rename("share/a", "share/c");
  rename("share/b", "share/a");
  rename("share/c", "share/b");
  expectSent();
  EXPECT_EQ(server.tree(), (Tree{{"/share", "/"}, {"/share/a", "2"}, {"/share/b", "1"}}));
  EXPECT_TRUE(conflictsSoFar().empty());
}

TEST_F(ConflictTest, ChangesInAShareThatIsNotShownWaitUntilItIsAgain) {
  server.put("/share/file", "1");
  server.putFolder("/other");
  settings.sending.patientFailures = 1;
  start();
  propagator->hostLost();
  write("share/file", "2");
  write("share/new", "3");
  const auto served = server.takeTree("/share");
  listRoot();
  EXPECT_EQ(namesIn(""), (Lines{"other", "share"}));
  propagator->hostReady();
  const auto failed = send();
  EXPECT_EQ(failed.size(), 2U) << pendingText();
  EXPECT_EQ(server.tree(), (Tree{{"/other", "/"}}));
  server.putTree(served);
  listRoot();
  propagator->retryAll();
  expectSent();
  EXPECT_EQ(server.tree(),
            (Tree{{"/other", "/"}, {"/share", "/"}, {"/share/file", "2"}, {"/share/new", "3"}}));
}

TEST_F(ConflictTest, AFolderGoesAsideOnlyWhenNothingIsJustLeavingIt) {
  server.putFolder("/share/a");
  server.putFolder("/share/a/x");
  server.put("/share/a/x/file", "1");
  server.put("/share/a/x/other", "2");
  start();
  server.next("move", "/share/a/x /share/x", Fate::hold);
  rename("share/a/x", "share/x");
  rename("share/x/other", "share/other");
  propagator->flushNow();
  ASSERT_TRUE(server.waitForHeld(1));
  // Where the new folder is to stand, the server has the one that is to stand in it.
  rename("share/a", "share/b");
  makeFolder("share/a");
  rename("share/b", "share/a/b");
  propagator->flushNow();
  propagator->drain();
  server.release();
  expectSent();
  EXPECT_EQ(server.tree(), (Tree{{"/share", "/"},
                                 {"/share/a", "/"},
                                 {"/share/a/b", "/"},
                                 {"/share/other", "2"},
                                 {"/share/x", "/"},
                                 {"/share/x/file", "1"}}));
  EXPECT_TRUE(conflictsSoFar().empty());
}

}  // namespace
}  // namespace zelto::test
