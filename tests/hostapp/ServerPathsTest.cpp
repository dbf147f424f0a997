#include <gtest/gtest.h>

#include "hostapp/BeneathFolder.h"
#include "hostapp/ItemDictionaries.h"
#include "hostapp/ServerPaths.h"
#include "platform/fileprovider/NSFileProviderTypes.h"
#include "tests/hostapp/HostFixture.h"

namespace zelto::test {
namespace {

TEST(ServerPaths, SharesLieBelowMyFilesOrTheRoot) {
  const ServerPaths on(plainNames(), true);
  const ServerPaths off(plainNames(), false);
  EXPECT_EQ("/My Files/share/a b/c", on.identifier("share/a b/c"));
  EXPECT_EQ("/share/a b/c", off.identifier("share/a b/c"));
  EXPECT_EQ("/My Files", on.sharesIdentifier());
  EXPECT_EQ(NSFileProviderRootContainerItemIdentifier, off.sharesIdentifier());
  EXPECT_EQ("../My Files/share/x", on.linkTarget("share/x"));
  EXPECT_EQ("../share/x", off.linkTarget("share/x"));
  for (const auto& paths : {on, off}) {
    const auto parsed = paths.parse(paths.identifier("share/a b/c"));
    EXPECT_EQ((ServerPath{ServerArea::server, "", "share/a b/c"}), parsed.value());
  }
  // A share's identifier begins with the root's slash though its parent is the root container.
  const auto context = contextBelow(off.sharesIdentifier(), false);
  EXPECT_EQ("/", context.identifierPrefix);
  EXPECT_FALSE(on.parse("/share/file")) << "nothing lies beside the containers";
}

TEST(ServerPaths, ContainersAndWhatTheyHold) {
  const ServerPaths paths(plainNames(), true);
  EXPECT_EQ(ServerArea::root, paths.parse("/")->area);
  EXPECT_EQ(ServerArea::root, paths.parse(NSFileProviderRootContainerItemIdentifier)->area);
  EXPECT_EQ(ServerArea::myFiles, paths.parse("/My Files")->area);
  EXPECT_EQ(ServerArea::bookmarks, paths.parse("/Bookmarks")->area);
  EXPECT_EQ(ServerArea::offlineFiles, paths.parse("/Offline Files")->area);
  EXPECT_EQ((ServerPath{ServerArea::bookmark, "b", ""}), paths.parse("/Bookmarks/b").value());
  EXPECT_EQ((ServerPath{ServerArea::bookmark, "b", "x/y"}), paths.parse("/Bookmarks/b/x/y").value());
  EXPECT_EQ((ServerPath{ServerArea::offline, "o", "x"}), paths.parse("/Offline Files/o/x").value());
}

TEST(ServerPaths, RefusesWhatCannotBeAnIdentifier) {
  const std::string nul("/My Files/s/a\0b", 15);
  for (const bool on : {true, false}) {
    const ServerPaths paths(plainNames(), on);
    for (const std::string& bad :
         {std::string(), std::string("share/file"), std::string("/My Files/"), std::string("//My Files"),
          std::string("/My Files//share"), std::string("/My Files/../etc"), std::string("/My Files/s/.."),
          std::string("/My Files/s/./x"), std::string("/Bookmarks/../x"), std::string("/Offline Files//x"),
          std::string("/My Files/\xff"), nul, "/My Files/" + std::string(70'000, 'x')}) {
      EXPECT_FALSE(paths.parse(bad)) << bad.substr(0, 40);
    }
  }
}

TEST(ServerPaths, PathsInFolders) {
  EXPECT_TRUE(liesIn("a/b", "a"));
  EXPECT_TRUE(liesIn("a", "a"));
  EXPECT_TRUE(liesIn("a", ""));
  EXPECT_FALSE(liesIn("ab", "a"));
  EXPECT_EQ("a", joinedPath("", "a"));
  EXPECT_EQ("a/b", joinedPath("a", "b"));
  EXPECT_EQ("a", joinedPath("a", ""));
}

}  // namespace
}  // namespace zelto::test
