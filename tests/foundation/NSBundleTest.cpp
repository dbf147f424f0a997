#include <cstdlib>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/foundation/NSBundle.h"
#include "tests/foundation/TemporaryFolder.h"

namespace zelto {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

void setLocale(const char* language, const char* all, const char* lang) {
  ::setenv("LANGUAGE", language, 1);
  ::setenv("LC_ALL", all, 1);
  ::unsetenv("LC_MESSAGES");
  ::setenv("LANG", lang, 1);
}

TEST(NSBundleTest, readsThePropertyList) {
  const TemporaryFolder folder;
  folder.write(
      "Info.plist",
      "<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key><string>it.example</string></dict></plist>");
  EXPECT_EQ(NSBundle(folder.path()).bundleIdentifier(), "it.example");
  folder.write("Info.plist", "<plist><dict><key>CFBundleIdentifier</key>");
  EXPECT_TRUE(NSBundle(folder.path()).infoDictionary().empty());
  EXPECT_EQ(NSBundle(folder.path("missing")).bundleIdentifier(), "");
}

TEST(NSBundleTest, ordersLanguagesAsTheCLibraryDoes) {
  setLocale("", "", "de_AT.UTF-8@euro");
  EXPECT_THAT(NSBundle::preferredLanguages(), ElementsAre("de_AT", "de"));
  setLocale("de_AT:en:../x", "", "fr_FR.UTF-8");
  EXPECT_THAT(NSBundle::preferredLanguages(), ElementsAre("de_AT", "de", "en"));
  setLocale("", "it_IT", "fr_FR.UTF-8");
  EXPECT_THAT(NSBundle::preferredLanguages(), ElementsAre("it_IT", "it"));
  setLocale("de", "C", "fr_FR.UTF-8");
  EXPECT_THAT(NSBundle::preferredLanguages(), IsEmpty());
  setLocale("", "C.UTF-8", "");
  EXPECT_THAT(NSBundle::preferredLanguages(), IsEmpty());
}

TEST(NSBundleTest, findsTheResourceOfTheFirstLanguageThatHasIt) {
  const TemporaryFolder folder;
  const auto base = folder.write("Base.lproj/Strings.json", "{}");
  const auto german = folder.write("de.lproj/Strings.json", "{}");
  const auto plain = folder.write("Types.json", "{}");
  const NSBundle bundle(folder.path());
  setLocale("", "de_AT.UTF-8", "");
  EXPECT_EQ(bundle.pathForResource("Strings", "json"), german);
  EXPECT_EQ(bundle.pathForResource("Strings", "json", "Base.lproj"), base);
  EXPECT_EQ(bundle.pathForResource("Types", "json"), plain);
  EXPECT_EQ(bundle.pathForResource("Types", "txt"), std::nullopt);
  setLocale("", "nl_NL.UTF-8", "");
  EXPECT_EQ(bundle.pathForResource("Strings", "json"), base);
}

}  // namespace
}  // namespace zelto
