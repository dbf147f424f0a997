#include <gtest/gtest.h>

#include "hostapp/ChangeJournal.h"
#include "tests/hostapp/ServerFolder.h"

namespace zelto::test {
namespace {

class ChangeJournalTest : public ::testing::Test {
 protected:
  ChangeJournalTest() { open(); }
  void open() {
    journal.reset();
    journal = std::make_unique<ChangeJournal>(*HostStore::open(folder.own("host.db")));
  }
  // "u/a d/b r/c": what a connection is handed.
  std::string take(std::uint64_t connection, std::size_t limit = 100) {
    std::string text;
    const auto batch = journal->handOut(connection, limit);
    for (const auto& change : batch.changes) {
      text +=
          std::string(text.empty() ? "" : " ") + "?udr"[static_cast<int>(change.kind)] + change.identifier;
    }
    return text + (batch.more ? " …" : "");
  }

  ServerFolder folder;
  std::unique_ptr<ChangeJournal> journal;
};

using enum ChangeKind;

TEST_F(ChangeJournalTest, WhatWasHandedOutIsForgottenWhenTheSameConnectionAsksAgain) {
  journal->add({{"/b", deletion}, {"/a", update}});
  EXPECT_EQ("u/a d/b", take(1));
  EXPECT_EQ(2U, journal->size());
  EXPECT_EQ("", take(1));
  EXPECT_EQ(0U, journal->size());
}

TEST_F(ChangeJournalTest, ANewConnectionIsHandedOutWhatMayNotHaveArrived) {
  journal->add({{"/a", update}});
  EXPECT_EQ("u/a", take(1));
  journal->add({{"/b", update}});
  EXPECT_EQ("u/a u/b", take(2));
  EXPECT_EQ("u/a u/b", take(3));
  EXPECT_EQ("", take(3));
}

TEST_F(ChangeJournalTest, SurvivesTheProcess) {
  journal->add({{"/a", update}, {"/gone", deletion}, {"/done", update}});
  EXPECT_EQ("u/a u/done d/gone", take(1));
  open();
  EXPECT_EQ("u/a u/done d/gone", take(1)) << "a connection of an earlier run proves nothing";
  EXPECT_EQ("", take(1));
  open();
  EXPECT_EQ("", take(1));
}

TEST_F(ChangeJournalTest, ChangesOfOneItemBecomeOne) {
  journal->add({{"/created then gone", update}, {"/gone then created", deletion}, {"/twice", update}});
  journal->add({{"/created then gone", deletion}, {"/gone then created", update}, {"/twice", update}});
  EXPECT_EQ("d/created then gone r/gone then created u/twice", take(1));
  // A deletion that has arrived is no part of what comes later.
  journal->add({{"/gone then created", update}});
  EXPECT_EQ("u/gone then created", take(1));
  // One that may not have arrived is.
  journal->replaceAll({{"/x", deletion}});
  EXPECT_EQ("d/x", take(1));
  journal->add({{"/x", update}});
  EXPECT_EQ("r/x", take(2));
}

TEST_F(ChangeJournalTest, AChangeDuringTheHandOverIsHandedOutAgain) {
  journal->add({{"/a", update}});
  EXPECT_EQ("u/a", take(1));
  journal->add({{"/a", update}});
  EXPECT_EQ("u/a", take(1));
  EXPECT_EQ("", take(1));
}

TEST_F(ChangeJournalTest, LargeBatchesAreHandedOutInParts) {
  journal->add({{"/a", update}, {"/b", update}, {"/c", update}, {"/d", update}, {"/e", update}});
  EXPECT_EQ("u/a u/b …", take(1, 2));
  EXPECT_EQ("u/c u/d …", take(1, 2));
  EXPECT_EQ("u/e", take(1, 2));
  EXPECT_EQ("", take(1, 2));
}

TEST_F(ChangeJournalTest, ReplacingForgetsTheRest) {
  journal->add({{"/old", update}});
  take(1);
  journal->replaceAll({{"/root", update}});
  open();
  EXPECT_EQ("u/root", take(1));
}

}  // namespace
}  // namespace zelto::test
