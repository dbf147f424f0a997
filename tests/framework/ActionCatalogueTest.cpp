#include <cstdlib>
#include <filesystem>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/actions/ActionCatalogue.h"
#include "tests/foundation/TemporaryFolder.h"

namespace zelto::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string entry(const std::vector<std::pair<std::string, std::string>>& pairs) {
  std::string result = "<dict>";
  for (const auto& [key, value] : pairs) result += "<key>" + key + "</key><string>" + value + "</string>";
  return result + "</dict>";
}

std::string action(const std::string& identifier, const std::string& name, const std::string& rule) {
  return entry({{"NSExtensionFileProviderActionIdentifier", identifier},
                {"NSExtensionFileProviderActionName", name},
                {"NSExtensionFileProviderActionActivationRule", rule}});
}

std::string badge(const std::string& identifier, const std::string& type, const std::string& label) {
  return entry(
      {{"Identifier", identifier}, {"BadgeImageType", type}, {"Label", label}, {"Category", "Badge"}});
}

void useLanguage(const char* language) {
  ::setenv("LANGUAGE", "", 1);
  ::setenv("LC_ALL", language, 1);
}

// A bundle of the test's own making.
class ActionCatalogueTest : public testing::Test {
 protected:
  void writeList(const std::string& actions, const std::string& decorations) {
    folder_.write("Info.plist",
                  "<plist version=\"1.0\"><dict><key>NSExtension</key><dict>"
                  "<key>NSExtensionFileProviderActions</key><array>" +
                      actions + "</array><key>NSFileProviderDecorations</key><array>" + decorations +
                      "</array></dict><key>UTExportedTypeDeclarations</key><array>" +
                      entry({{"UTTypeIdentifier", "type.a"}, {"UTTypeIconFile", "badges/a.svg"}}) +
                      entry({{"UTTypeIdentifier", "type.gone"}, {"UTTypeIconFile", "badges/gone.svg"}}) +
                      "</array></dict></plist>");
  }
  ActionCatalogue catalogue() {
    return {NSBundle(folder_.path()), [this](const std::string& message) { reports_.push_back(message); }};
  }

  const TemporaryFolder folder_;
  std::vector<std::string> reports_;
};

std::vector<std::string> identifiersOf(const std::vector<ItemAction>& actions) {
  std::vector<std::string> result;
  for (const auto& one : actions) result.push_back(one.identifier);
  return result;
}

TEST_F(ActionCatalogueTest, OffersWhatTheRulesAllowInTheListsOrder) {
  folder_.write("Base.lproj/Strings.json", R"({"Z": "Last"})");
  writeList(action("z", "Z", "fileproviderItems.@count == 2") +
                action("a", "Z", "fileproviderItems.@count &gt; 0") +
                action("m", "Z", "fileproviderItems.@count == 1"),
            "");
  const auto actions = catalogue();
  EXPECT_THAT(identifiersOf(actions.actions()), ElementsAre("z", "a", "m"));
  EXPECT_THAT(identifiersOf(actions.actionsFor({{}, {}})), ElementsAre("z", "a"));
  EXPECT_THAT(identifiersOf(actions.actionsFor({{}})), ElementsAre("a", "m"));
  EXPECT_THAT(actions.actionsFor({}), IsEmpty());
  EXPECT_THAT(reports_, IsEmpty());
}

TEST_F(ActionCatalogueTest, LeavesOutWhatCannotBeUsedAndSaysWhy) {
  folder_.write("Base.lproj/Strings.json", R"({"T": "Title"})");
  folder_.write("badges/a.svg", "<svg/>");
  writeList("<string>no entry</string>" + action("", "T", "TRUEPREDICATE") +
                action("a", "", "TRUEPREDICATE") + action("b", "T", "ANY fileproviderItems == 1") +
                entry({{"NSExtensionFileProviderActionName", "T"}}) + action("good", "T", "TRUEPREDICATE") +
                action("good", "T", "FALSEPREDICATE"),
            badge("b.unknown", "type.b", "T") + badge("b.gone", "type.gone", "T") +
                badge("b.label", "type.a", "") + badge("b.good", "type.a", "T") + "<integer>1</integer>");
  const auto actions = catalogue();
  EXPECT_THAT(actions.actionsFor({}), ElementsAre(ItemAction{"good", "Title"}));
  EXPECT_THAT(actions.decorations(),
              ElementsAre(ItemDecoration{"b.good", folder_.path("badges/a.svg"), "Title", "Badge"}));
  EXPECT_EQ(&actions.decorations()[0], actions.decoration("b.good"));
  EXPECT_EQ(nullptr, actions.decoration("b.gone"));
  EXPECT_THAT(reports_,
              ElementsAre(HasSubstr("it has no identifier"), HasSubstr("it has no identifier"),
                          HasSubstr("a has no title"),
                          HasSubstr("b has a rule that cannot be used, at byte 0: ANY is nothing"),
                          HasSubstr("it has no identifier"), HasSubstr("good is there already"),
                          HasSubstr("b.unknown has a picture of a type that is not declared: type.b"),
                          HasSubstr("b.gone has a picture that is missing: badges/gone.svg"),
                          HasSubstr("b.label has no label"), HasSubstr("it has no identifier")));
}

TEST_F(ActionCatalogueTest, ABundleThatDeclaresNothingOffersNothing) {
  EXPECT_THAT(catalogue().actions(), IsEmpty());
  folder_.write("Info.plist",
                "<plist version=\"1.0\"><dict><key>NSExtension</key><string>x</string></dict></plist>");
  EXPECT_THAT(catalogue().actionsFor({{}}), IsEmpty());
  folder_.write("Info.plist",
                "<plist version=\"1.0\"><dict><key>NSExtension</key><dict>"
                "<key>NSExtensionFileProviderActions</key><dict/></dict></dict></plist>");
  EXPECT_THAT(catalogue().actionsFor({{}}), IsEmpty());
  EXPECT_THAT(reports_, IsEmpty());
}

TEST_F(ActionCatalogueTest, TitlesAreInTheUsersLanguageElseInTheFallbackElseTheToken) {
  folder_.write("Base.lproj/Strings.json", R"({"A": "Open", "B": "Close", "C": "Keep"})");
  folder_.write("it.lproj/Strings.json", R"({"A": "Apri l\\\"elemento", "B": "", "C": 1})");
  writeList(action("a", "A", "1 == 1") + action("b", "B", "1 == 1") + action("c", "C", "1 == 1") +
                action("d", "D", "1 == 1"),
            "");
  useLanguage("it_IT.UTF-8");
  EXPECT_THAT(catalogue().actions(), ElementsAre(ItemAction{"a", "Apri l'elemento"}, ItemAction{"b", "Close"},
                                                 ItemAction{"c", "Keep"}, ItemAction{"d", "D"}));
  EXPECT_THAT(reports_, ElementsAre("no text for D"));
  folder_.write("Base.lproj/Strings.json", "[");
  useLanguage("C");
  EXPECT_EQ("A", catalogue().actions()[0].title);
}

TEST_F(ActionCatalogueTest, TheBundlesOwnListIsCompleteInEveryLanguage) {
  const NSBundle bundle(ZELTO_TEST_RESOURCES);
  std::set<std::string> titles;
  int languages = 0;
  for (const auto& folder : std::filesystem::directory_iterator(ZELTO_TEST_RESOURCES)) {
    if (folder.path().extension() != ".lproj") continue;
    const auto language = folder.path().stem().string();
    useLanguage(language == "Base" ? "C" : language.c_str());
    const ActionCatalogue actions(bundle,
                                  [this](const std::string& message) { reports_.push_back(message); });
    EXPECT_EQ(12U, actions.actions().size());
    EXPECT_EQ(5U, actions.decorations().size());
    for (const auto& one : actions.actions()) {
      EXPECT_THAT(one.title, testing::Not(HasSubstr("ACTION_"))) << language;
    }
    titles.insert(actions.actions()[5].title);
    ++languages;
  }
  EXPECT_THAT(reports_, IsEmpty());
  // The fallback is English, every other language has its own.
  EXPECT_EQ(languages - 1, std::ssize(titles));
}

}  // namespace
}  // namespace zelto::test
