#include <algorithm>

#include <gtest/gtest.h>

#include "desktop/core/Desktop.h"
#include "tests/bus/PrivateBus.h"
#include "tests/desktop/FakeManager.h"

namespace zelto::desktop {
namespace {

using test::FakeManager;
using test::kMount;
using test::runUntil;
using test::stateJson;

const std::string kFolder = kMount + "/share";
const std::string kA = kFolder + "/a.doc";
const std::string kB = kFolder + "/b.doc";

class DesktopTest : public testing::Test, protected DesktopListener {
 protected:
  void SetUp() override { private_.start(); }

  // A manager with a folder of two files, and the plug-in's side, which has found it.
  void begin() {
    manager_ = std::make_unique<FakeManager>();
    setFolder(stateJson(kA, "d", "ab") + "," + stateJson(kB, "", "bc"));
    manager_->items[kFolder] = stateJson(kFolder, "", "c");
    begin(1);
  }
  void begin(std::size_t trees) {
    desktop_ = std::make_unique<Desktop>(static_cast<DesktopListener&>(*this));
    ASSERT_TRUE(
        runUntil([&] { return trees_.size() == trees && desktop_->known("/elsewhere").has_value(); }));
  }
  void setFolder(const std::string& items) { manager_->folders[kFolder] = items; }

  // As a browser asks; answers are noted as "path: decorations" or "path: -".
  void ask(const std::string& path) {
    last_ = desktop_->ask(path, [this, path](const ItemState* state) {
      std::string text = path + ":";
      for (const std::string& decoration :
           state != nullptr ? state->decorations : std::vector<std::string>{"-"})
        text += " " + decoration;
      answers_.push_back(text);
    });
  }
  // Asks and waits, and shows the item.
  void show(const std::string& path) {
    const std::size_t before = answers_.size();
    if (!desktop_->known(path)) {
      ask(path);
      ASSERT_TRUE(runUntil([&] { return answers_.size() > before; }));
    }
    desktop_->observe(path);
  }
  bool tells(const std::string& path, const std::string& decoration) {
    return runUntil([&] {
      const auto state = desktop_->known(path);
      return state && *state != nullptr && (*state)->decorations == std::vector<std::string>{decoration};
    });
  }

  void statesChanged(const std::vector<std::string>& paths) override {
    ++changes_;
    changed_.insert(changed_.end(), paths.begin(), paths.end());
  }
  void treeChanged(const std::string& mountPoint) override { trees_.push_back(mountPoint); }

  zelto::test::PrivateBus private_;
  std::unique_ptr<FakeManager> manager_;
  std::vector<std::string> trees_;
  std::vector<std::string> changed_;
  int changes_ = 0;
  std::vector<std::string> answers_;
  RequestId last_ = 0;
  std::unique_ptr<Desktop> desktop_;
};

TEST_F(DesktopTest, WithoutAManagerKnowsThatThereIsNothing) {
  begin(0);
  ASSERT_TRUE(desktop_->known(kA));
  EXPECT_EQ(nullptr, *desktop_->known(kA));
  EXPECT_TRUE(desktop_->offered({kA})->empty());
  EXPECT_TRUE(desktop_->rows(kA, false).empty());
}

TEST_F(DesktopTest, WithoutABusLikewise) {
  private_.stop();
  begin(0);
  EXPECT_EQ(nullptr, *desktop_->known(kA));
  desktop_->perform({"a", "Alpha"}, {kA});
}

TEST_F(DesktopTest, WhoAsksBeforeTheManagerHasAnsweredWaitsForIt) {
  manager_ = std::make_unique<FakeManager>();
  setFolder(stateJson(kA, "d", ""));
  manager_->holding = true;
  desktop_ = std::make_unique<Desktop>(static_cast<DesktopListener&>(*this));
  EXPECT_FALSE(desktop_->known(kA));
  ask(kA);
  ask("/elsewhere/x");
  ASSERT_TRUE(runUntil([&] { return manager_->count("Status") == 1; }));
  EXPECT_TRUE(answers_.empty());

  manager_->release();

  ASSERT_TRUE(runUntil([&] { return answers_.size() == 2; }));
  EXPECT_EQ((std::vector<std::string>{"/elsewhere/x: -", kA + ": d"}), answers_);
}

TEST_F(DesktopTest, OneCallTellsOfAllItemsOfAFolder) {
  begin();
  ask(kA);
  ask(kB);
  ask(kFolder + "/not listed");
  ASSERT_TRUE(runUntil([&] { return answers_.size() == 3; }));
  EXPECT_EQ((std::vector<std::string>{kA + ": d", kB + ":", kFolder + "/not listed:"}), answers_);
  EXPECT_EQ(1U, manager_->count("FolderStates"));
  EXPECT_EQ(nullptr, *desktop_->known(kMount + "2/x"));

  // What is here needs no other call.
  EXPECT_EQ(std::vector<std::string>{"d"}, (*desktop_->known(kA))->decorations);
  EXPECT_EQ(1U, manager_->count("FolderStates"));
}

TEST_F(DesktopTest, WhoHasCancelledIsNotAnswered) {
  begin();
  manager_->holding = true;
  ask(kA);
  desktop_->cancel(last_);
  ask(kB);
  ASSERT_TRUE(runUntil([&] { return manager_->count("FolderStates") == 1; }));
  manager_->release();
  ASSERT_TRUE(runUntil([&] { return !answers_.empty(); }));
  EXPECT_EQ(std::vector<std::string>{kB + ":"}, answers_);
}

TEST_F(DesktopTest, ChangesReachWhatIsOnShow) {
  begin();
  show(kA);
  show(kB);
  changed_.clear();

  setFolder(stateJson(kA, "e", "ab") + "," + stateJson(kB, "", "bc"));
  manager_->itemsChanged({"/other", kFolder});

  ASSERT_TRUE(tells(kA, "e"));
  EXPECT_EQ(std::vector<std::string>{kA}, changed_);
}

TEST_F(DesktopTest, AChangeWhileTheAnswerIsOnItsWayIsNotMissed) {
  begin();
  manager_->holding = true;
  ask(kA);
  ASSERT_TRUE(runUntil([&] { return manager_->count("FolderStates") == 1; }));
  // The signal is ahead of an answer that was put together before it.
  manager_->itemsChanged({kFolder});
  manager_->release();
  ASSERT_TRUE(runUntil([&] { return answers_.size() == 1; }));
  desktop_->observe(kA);
  setFolder(stateJson(kA, "e", ""));
  EXPECT_TRUE(tells(kA, "e"));
}

TEST_F(DesktopTest, ManyChangesAreFewCalls) {
  begin();
  show(kA);
  for (int i = 0; i < 50; ++i) manager_->itemsChanged({kFolder});
  setFolder(stateJson(kA, "e", ""));
  manager_->itemsChanged({kFolder});
  ASSERT_TRUE(tells(kA, "e"));
  EXPECT_LE(manager_->count("FolderStates"), 4U);
}

TEST_F(DesktopTest, WhatIsNotOnShowIsNotAskedForAgain) {
  begin();
  show(kA);
  desktop_->unobserve(kA);
  manager_->itemsChanged({kFolder});
  ASSERT_TRUE(runUntil([&] { return !desktop_->known(kA); }));
  EXPECT_EQ(1U, manager_->count("FolderStates"));
}

TEST_F(DesktopTest, SeveralItemsAreOfferedWhatEachIs) {
  begin();
  manager_->items[kA] = stateJson(kA, "", "ab");
  // Not known yet; that it is there then is told.
  EXPECT_FALSE(desktop_->offered({kA}));
  ASSERT_TRUE(runUntil([&] { return changes_ > 0; }));
  ASSERT_TRUE(desktop_->offered({kA}));
  show(kA);
  EXPECT_EQ((std::vector<Action>{{"a", "Alpha"}, {"b", "Beta"}}), *desktop_->offered({kA}));
  EXPECT_EQ((std::vector<Action>{{"b", "Beta"}}), *desktop_->offered({kA, kB}));
  EXPECT_TRUE(desktop_->offered({kA, "/elsewhere/x"})->empty());
  EXPECT_TRUE(desktop_->offered({})->empty());
}

TEST_F(DesktopTest, AFolderOnShowIsKnownItself) {
  begin();
  show(kA);
  ASSERT_TRUE(runUntil([&] { return manager_->count("ItemStates") == 1 && changes_ == 2; }));
  EXPECT_EQ((std::vector<Action>{{"c", "Gamma"}}), *desktop_->offered({kFolder}));

  manager_->items[kFolder] = stateJson(kFolder, "", "a");
  manager_->itemsChanged({kMount});
  EXPECT_TRUE(runUntil([&] {
    const auto offered = desktop_->offered({kFolder});
    return offered && *offered == std::vector<Action>{{"a", "Alpha"}};
  }));
  EXPECT_EQ(1U, manager_->count("FolderStates"));
}

TEST_F(DesktopTest, TheMountPointIsAskedForByItself) {
  begin();
  manager_->items[kMount] = stateJson(kMount, "e", "");
  show(kMount);
  EXPECT_TRUE(tells(kMount, "e"));
  EXPECT_EQ(0U, manager_->count("FolderStates"));
}

TEST_F(DesktopTest, AnActionGoesOnceWithAllItems) {
  begin();
  desktop_->perform({"b", "Beta"}, {kA, kB});
  ASSERT_TRUE(runUntil([&] { return manager_->count("Perform") == 1; }));
  EXPECT_EQ("Perform b " + kA + " " + kB, manager_->calls().back());
}

TEST_F(DesktopTest, AFailedActionIsShownToTheUser) {
  test::FakeNotifications notifications;
  begin();
  manager_->refusal = "No <room> left";
  desktop_->perform({"b", "Beta"}, {kA});
  ASSERT_TRUE(runUntil([&] { return !notifications.shown.empty(); }));
  EXPECT_EQ(std::vector<std::string>{"Beta: No &lt;room&gt; left"}, notifications.shown);

  // Also when the manager goes before it has answered, and when there is none any more.
  manager_->holding = true;
  desktop_->perform({"b", "Beta"}, {kA});
  ASSERT_TRUE(runUntil([&] { return manager_->count("Perform") == 2; }));
  manager_.reset();
  ASSERT_TRUE(runUntil([&] { return notifications.shown.size() == 2; }));
  ASSERT_TRUE(runUntil([&] { return *desktop_->known(kA) == nullptr; }));
  desktop_->perform({"b", "Beta"}, {kA});
  EXPECT_TRUE(runUntil([&] { return notifications.shown.size() == 3; }));
}

TEST_F(DesktopTest, AManagerThatGoesAwayTakesItsStatesAlong) {
  begin();
  show(kA);
  manager_->holding = true;
  ask(kMount + "/other/x");
  ASSERT_TRUE(runUntil([&] { return manager_->count("FolderStates " + kMount + "/other") == 1; }));

  manager_.reset();

  ASSERT_TRUE(runUntil([&] { return trees_.size() == 2 && answers_.size() == 2; }));
  EXPECT_EQ(kMount + "/other/x: -", answers_.back());
  EXPECT_EQ(nullptr, *desktop_->known(kA));
}

TEST_F(DesktopTest, AManagerThatComesBackKnowsWhatIsOnShow) {
  begin();
  show(kA);
  manager_.reset();
  ASSERT_TRUE(runUntil([&] { return trees_.size() == 2; }));

  manager_ = std::make_unique<FakeManager>();
  setFolder(stateJson(kA, "e", ""));
  ASSERT_TRUE(runUntil([&] { return trees_.size() == 3; }));
  EXPECT_FALSE(desktop_->known(kA));
  ask(kA);
  ASSERT_TRUE(tells(kA, "e"));
  // It is still on show, so that changes are followed.
  setFolder(stateJson(kA, "f", ""));
  manager_->itemsChanged({kFolder});
  EXPECT_TRUE(tells(kA, "f"));
}

TEST_F(DesktopTest, AManagerThatAnswersNonsenseHasNoFiles) {
  manager_ = std::make_unique<FakeManager>();
  manager_->status = "{\"mountPoint\": ";
  FakeManager other("other");
  other.status = R"({"mountPoint": "/mnt/other"})";
  other.actions = "nothing";
  begin(1);
  EXPECT_EQ(nullptr, *desktop_->known(kA));

  other.folders["/mnt/other"] = "{\"path\": ";
  ask("/mnt/other/x");
  ASSERT_TRUE(runUntil([&] { return answers_.size() == 1; }));
  EXPECT_EQ("/mnt/other/x:", answers_[0]);
  EXPECT_TRUE(desktop_->offered({"/mnt/other/x"})->empty());
}

TEST_F(DesktopTest, AFolderOfManyItemsComesWhole) {
  begin();
  std::string items;
  for (int i = 0; i < 3000; ++i) {
    items += (i == 0 ? "" : ",") + stateJson(kFolder + "/" + std::to_string(i), "d", "ab");
  }
  setFolder(items);
  ask(kFolder + "/2999");
  ASSERT_TRUE(runUntil([&] { return answers_.size() == 1; }));
  EXPECT_EQ(kFolder + "/2999: d", answers_[0]);
  EXPECT_EQ(1U, (*desktop_->known(kFolder + "/0"))->decorations.size());
}

TEST_F(DesktopTest, ThumbnailsAreAskedForInBatchesWhileSomebodyLooks) {
  begin();
  std::vector<std::string> pictures;
  std::string items = stateJson(kA, "", "");
  for (int i = 0; i < 40; ++i) {
    pictures.push_back(kFolder + "/" + std::to_string(100 + i) + ".png");
    items += "," + stateJson(pictures.back(), "", "");
  }
  setFolder(items);
  show(kA);
  manager_->holding = true;
  for (const std::string& picture : pictures) desktop_->observe(picture);
  ASSERT_TRUE(runUntil([&] { return manager_->count("Thumbnails") == 1; }));
  const std::string first = manager_->calls().back();
  EXPECT_NE(std::string::npos, first.find(pictures[0]));
  EXPECT_EQ(std::string::npos, first.find(pictures[16]));
  EXPECT_EQ(std::string::npos, first.find(kA));

  // Of the rest only the last is looked at when the first ones are done.
  for (std::size_t i = 16; i < 39; ++i) desktop_->unobserve(pictures[i]);
  manager_->release();
  ASSERT_TRUE(runUntil([&] { return manager_->count("Thumbnails") == 2; }));
  EXPECT_EQ("Thumbnails " + pictures[39], manager_->calls().back());
}

TEST_F(DesktopTest, PicturesDoNotWaitForThoseThatNobodyLooksAtAnyMore) {
  begin();
  const std::string slow = kFolder + "/slow.jpg", next = kMount + "/other/next.jpg";
  show(kA);
  manager_->holding = true;
  desktop_->observe(slow);
  ASSERT_TRUE(runUntil([&] { return manager_->count("Thumbnails") == 1; }));
  desktop_->observe(next);
  desktop_->unobserve(slow);
  EXPECT_TRUE(runUntil([&] { return manager_->count("Thumbnails " + next) == 1; }));
}

}  // namespace
}  // namespace zelto::desktop
