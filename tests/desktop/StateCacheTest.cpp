#include <algorithm>

#include <gtest/gtest.h>

#include "desktop/core/OfferedActions.h"
#include "desktop/core/StateCache.h"

namespace zelto::desktop {
namespace {

PathState item(std::string path, std::vector<std::string> actions = {}) {
  return {std::move(path), {true, {}, std::move(actions), "current", "", "none"}};
}
Scope folder(std::string path) { return {std::move(path), true}; }
Scope self(std::string path) { return {std::move(path), false}; }

TEST(StateCacheTest, TellsOfItemsByTheirFolderOrThemselves) {
  StateCache cache(10);
  EXPECT_EQ(nullptr, cache.find("/m/f/a"));

  cache.replace(folder("/m/f"), {item("/m/f/a", {"p"})});
  EXPECT_EQ(std::vector<std::string>{"p"}, cache.find("/m/f/a")->actions);
  ASSERT_NE(nullptr, cache.find("/m/f/new"));
  EXPECT_FALSE(cache.find("/m/f/new")->known);
  EXPECT_EQ(nullptr, cache.find("/m/f"));

  cache.replace(self("/m/f"), {item("/m/f", {"q"})});
  EXPECT_EQ(std::vector<std::string>{"q"}, cache.find("/m/f")->actions);
  cache.replace(self("/m/f/new"), {item("/m/f/new")});
  EXPECT_TRUE(cache.find("/m/f/new")->known);
}

TEST(StateCacheTest, NamesWhatHasChanged) {
  StateCache cache(10);
  EXPECT_TRUE(cache.replace(folder("/m"), {item("/m/a"), item("/m/b"), item("/m/gone")}).empty());

  auto changed = cache.replace(folder("/m"), {item("/m/a"), item("/m/b", {"p"}), item("/m/new"),
                                              item("/elsewhere/c"), item("/m/deep/d")});

  std::ranges::sort(changed);
  EXPECT_EQ((std::vector<std::string>{"/m/b", "/m/gone", "/m/new"}), changed);
  EXPECT_FALSE(cache.find("/m/gone")->known);
  EXPECT_EQ(nullptr, cache.find("/elsewhere/c"));
}

TEST(StateCacheTest, KeepsWhatIsOnShowAndWhatWasUsedLast) {
  StateCache cache(3);
  cache.observe(folder("/m/shown"));
  for (const char* path : {"/m/shown", "/m/1", "/m/2"}) cache.replace(folder(path), {});
  cache.find("/m/1/x");
  cache.replace(folder("/m/3"), {});
  EXPECT_TRUE(cache.has(folder("/m/shown")) && cache.has(folder("/m/1")) && cache.has(folder("/m/3")));
  EXPECT_FALSE(cache.has(folder("/m/2")));

  cache.unobserve(folder("/m/shown"));
  cache.replace(folder("/m/4"), {});
  EXPECT_FALSE(cache.has(folder("/m/shown")));
}

TEST(StateCacheTest, KnowsWhatAChangeConcerns) {
  StateCache cache(10);
  for (const char* path : {"/m", "/m/f", "/m/f/g", "/m/ff"}) {
    cache.replace(folder(path), {});
    cache.replace(self(path), {});
  }
  EXPECT_EQ((std::vector<Scope>{self("/m/f"), folder("/m/f"), self("/m/f/g")}), cache.concerned({"/m/f"}));
}

TEST(OfferedActionsTest, AreThoseOfEachItemInTheOrderOfAll) {
  const std::vector<Action> all{{"a", "A"}, {"b", "B"}, {"c", "C"}};
  const ItemState one{true, {}, {"c", "a", "unheard-of"}, "", "", ""};
  const ItemState two{true, {}, {"b", "c", "unheard-of"}, "", "", ""};
  const ItemState unknown{false, {}, {"a", "b", "c"}, "", "", ""};
  const auto offered = [&](std::vector<const ItemState*> items) {
    std::string identifiers;
    for (const Action& action : offeredToEach(all, items)) identifiers += action.identifier;
    return identifiers;
  };
  EXPECT_EQ("ac", offered({&one}));
  EXPECT_EQ("c", offered({&one, &two}));
  EXPECT_EQ("", offered({&one, &unknown}));
  EXPECT_EQ("", offered({}));
}

}  // namespace
}  // namespace zelto::desktop
