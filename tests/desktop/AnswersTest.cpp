#include <filesystem>

#include <gtest/gtest.h>

#include "desktop/core/Answers.h"
#include "desktop/core/Emblems.h"
#include "desktop/core/InfoRows.h"
#include "platform/foundation/NSBundle.h"

namespace zelto::desktop {
namespace {

TEST(AnswersTest, ReadsStatesWithPathsThatAreNoText) {
  const auto states = statesOf(R"([
    {"path": "/m/a%20b%FF%25", "known": true, "identifier": "x", "decorations": ["d", "e"], "actions": ["p"],
     "state": "failed", "reason": "no room", "materialised": "partial", "more": {"of": "it"}},
    {"path": "/m/new/", "known": false}])");

  ASSERT_TRUE(states);
  ASSERT_EQ(2U, states->size());
  EXPECT_EQ("/m/a b\xff%", (*states)[0].path);
  EXPECT_EQ((ItemState{true, {"d", "e"}, {"p"}, "failed", "no room", "partial"}), (*states)[0].state);
  EXPECT_EQ("/m/new", (*states)[1].path);
  EXPECT_EQ(ItemState(), (*states)[1].state);
}

TEST(AnswersTest, LeavesOutEntriesThatAreNone) {
  const auto states = statesOf(R"([1, "x", null, [], {}, {"path": 7}, {"path": ""}, {"path": "relative"},
    {"path": "/bad%zz"}, {"path": "/nul%00"}, {"path": "/m/a", "known": "yes", "decorations": {"a": 1},
    "actions": [1, "p", null, ["q"]], "state": 5}])");

  ASSERT_TRUE(states);
  ASSERT_EQ(1U, states->size());
  EXPECT_EQ("/m/a", (*states)[0].path);
  EXPECT_EQ((ItemState{false, {}, {"p"}, "", "", ""}), (*states)[0].state);
}

TEST(AnswersTest, RefusesWhatIsNoArray) {
  for (const char* json : {"", "{}", "[", "[{\"path\":", "null", "\"text\"", "[] trailing", "\xff"}) {
    EXPECT_FALSE(statesOf(json)) << json;
    EXPECT_FALSE(actionsOf(json)) << json;
    EXPECT_FALSE(badgesOf(json)) << json;
  }
  EXPECT_FALSE(statesOf(std::string(100000, '[')));
}

TEST(AnswersTest, TakesTheMountPointWithoutItsSlash) {
  EXPECT_EQ("/home/u/Zelto", mountPointOf(R"({"mountPoint": "/home/u/Zelto/"})"));
  for (const char* json : {"{}", "[]", R"({"mountPoint": 1})", R"({"mountPoint": "here"})",
                           R"({"mountPoint": "/"})", R"({"mountPoint": ""})"}) {
    EXPECT_FALSE(mountPointOf(json)) << json;
  }
}

TEST(AnswersTest, ReadsActionsAndBadges) {
  EXPECT_EQ((std::vector<Action>{{"b", "Beta"}, {"a", "Alpha"}}),
            actionsOf(R"([{"identifier": "b", "title": "Beta"}, {"identifier": "x"}, {"title": "y"},
                          {"identifier": "a", "title": "Alpha"}])"));
  EXPECT_EQ((std::vector<Badge>{{"a", "Mine"}, {"b", ""}}),
            badgesOf(R"([{"identifier": "a", "label": "Mine"}, {"identifier": "b"}, {"label": "y"}])"));
}

TEST(RowsTest, TellNothingOfAnItemThatIsNotKnown) {
  ItemState state{false, {"d"}, {}, "failed", "no room", "full"};
  EXPECT_TRUE(rowsOf(state, {{"d", "Mine"}}, false).empty());
  state.known = true;
  EXPECT_EQ((std::vector<InfoRow>{{"State", "Changed here, could not be sent"},
                                  {"Reason", "no room"},
                                  {"Content", "On this computer"},
                                  {"Marks", "Mine"}}),
            rowsOf(state, {{"c", "Other"}, {"d", "Mine"}}, false));
  EXPECT_EQ(3U, rowsOf(state, {{"d", "Mine"}}, true).size());
}

TEST(EmblemsTest, AreTheDecorationsAndWhatBecomesOfAChange) {
  EXPECT_EQ((std::vector<std::string>{"d", "e"}), emblemsOf({true, {"d", "e"}, {}, "current", "", ""}));
  for (const char* word : {"pending", "uploading", "waiting"}) {
    EXPECT_EQ((std::vector<std::string>{"d", kSendingEmblem}), emblemsOf({true, {"d"}, {}, word, "", ""}));
  }
  EXPECT_EQ(std::vector<std::string>{kFailedEmblem}, emblemsOf({true, {}, {}, "failed", "", ""}));
  EXPECT_TRUE(emblemsOf({true, {}, {}, "local", "", ""}).empty());
}

TEST(EmblemsTest, LeaveThoseOfTheUserWhereTheyAre) {
  using Names = std::vector<std::string>;
  const Names theirs{"emblem-important", "emblem-web"};
  const Names both = iconsWith(theirs, {"it.pellam.Zelto.Provider.bookmark", kFailedEmblem});
  EXPECT_EQ((Names{"emblem-important", "emblem-web", "emblem-it.pellam.Zelto.Provider.bookmark",
                   "emblem-it.pellam.Zelto.State.failed"}),
            both);
  EXPECT_EQ((Names{"emblem-important", "emblem-web", "emblem-it.pellam.Zelto.State.sending"}),
            iconsWith(both, {kSendingEmblem}));
  EXPECT_EQ(theirs, iconsWith(both, {}));
}

// The build installs each picture under its file's name; the property list says which decoration it is for.
TEST(EmblemsTest, HaveAPictureForEachDecoration) {
  const PropertyListValue* const extension = NSBundle::mainBundle().infoDictionary().find("NSExtension");
  ASSERT_NE(nullptr, extension);
  const NSArray& decorations = *extension->asDictionary()->find("NSFileProviderDecorations")->asArray();
  ASSERT_FALSE(decorations.empty());
  for (const PropertyListValue& decoration : decorations) {
    const std::string identifier = *decoration.asDictionary()->find("Identifier")->asString();
    constexpr std::string_view kPrefix = "it.pellam.Zelto.Provider.";
    ASSERT_TRUE(identifier.starts_with(kPrefix)) << identifier;
    const std::string picture = identifier.substr(kPrefix.size()) + ".svg";
    EXPECT_TRUE(std::filesystem::exists(ZELTO_TREE "/resources/badges/" + picture)) << picture;
  }
}

}  // namespace
}  // namespace zelto::desktop
