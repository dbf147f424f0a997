#include "framework/actions/ActionCatalogue.h"
#include "model/FileProviderDecorations.h"
#include "platform/foundation/NSBundle.h"
#include "tests/extension/Fixture.h"

namespace zelto::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// What the bundle's rules offer on records as the extension makes them.
class OfferedActionsTest : public ExtensionFixture {
 protected:
  using Names = std::vector<std::string>;

  // Identifiers without their common beginning.
  Names offered(const std::vector<NSDictionary>& dictionaries) const {
    std::vector<NSDictionary> userInfos;
    for (const auto& dictionary : dictionaries) {
      userInfos.push_back(FileProviderItem::providerItemForDictionary(dictionary)->userInfo());
    }
    Names result;
    const std::string prefix = "it.pellam.Zelto.Provider.";
    for (const auto& action : catalogue_.actionsFor(userInfos)) {
      EXPECT_TRUE(action.identifier.starts_with(prefix));
      result.push_back(action.identifier.substr(prefix.size()));
    }
    return result;
  }

  const ActionCatalogue catalogue_{NSBundle::mainBundle(),
                                   [](const std::string& message) { ADD_FAILURE() << message; }};
};

TEST_F(OfferedActionsTest, EachKindOfRecordHasItsActions) {
  const auto area = FileProviderItem::identifierForOfflineFiles();
  const NSDictionary bookmark{{"itemType", 4}, {"itemIdentifier", "/B/a"}};
  const std::vector<std::pair<NSDictionary, Names>> table{
      {{{"itemType", 0}}, {}},
      {{{"itemType", 1}}, {"RefreshMyFiles"}},
      {{{"itemType", 2}}, {"RefreshDirectory"}},
      {{{"itemType", 3}}, {}},
      {{{"itemType", 5}}, {"RefreshDirectory"}},
      {{{"itemType", 11}}, {}},
      {fileDictionary("/S/l", {{"itemType", 10}}), {}},
      {folderDictionary("/S/d"), {"RefreshDirectory", "Bookmark", "AddOffline"}},
      {fileDictionary("/S/a"), {"ShowCustomFields", "Bookmark", "AddOffline"}},
      // Bookmarked, offline, both.
      {fileDictionary("/S/a", {{"bookmarked", true}}), {"ShowCustomFields", "RemoveBookmark", "AddOffline"}},
      {fileDictionary("/S/a", {{"offlineBookmark", true}}),
       {"ShowCustomFields", "Bookmark", "RemoveOffline"}},
      {fileDictionary("/S/a", {{"bookmarked", true}, {"offlineBookmark", true}}),
       {"ShowCustomFields", "RemoveOffline"}},
      {bookmark, {"RemoveBookmark", "AddOffline"}},
      {{{"itemType", 4}, {"offlineBookmark", true}}, {"RemoveOffline"}},
      // The offline area: what was put there, and what lies in it.
      {folderDictionary(area + "/d", {{"offline", true}, {"offlineBookmark", true}}),
       {"RefreshDirectory", "RemoveOffline"}},
      {fileDictionary(area + "/d/a", {{"offline", true}}), {}},
      // Office suites and check-out, as the host says.
      {fileDictionary("/S/a", {{"canOpenWithOfficeOnline", true}}),
       {"ShowCustomFields", "OpenWithOfficeOnline", "Bookmark", "AddOffline"}},
      {fileDictionary("/S/a", {{"openWithOffice365", true}}),
       {"ShowCustomFields", "OpenWithOffice365", "Bookmark", "AddOffline"}},
      {fileDictionary("/S/a", {{"canShowCheckoutStatus", true}, {"canCheckOut", true}}),
       {"ShowCustomFields", "Bookmark", "CheckoutStatus", "Checkout", "AddOffline"}},
      {fileDictionary("/S/a", {{"canShowCheckoutStatus", true}, {"canCheckIn", true}}),
       {"ShowCustomFields", "Bookmark", "CheckoutStatus", "Checkin", "AddOffline"}},
      {fileDictionary("/S/a", {{"canCheckIn", true}}), {"ShowCustomFields", "Bookmark", "AddOffline"}},
  };
  for (const auto& [dictionary, names] : table) {
    EXPECT_EQ(names, offered({dictionary})) << description(dictionary);
  }
}

TEST_F(OfferedActionsTest, SeveralItemsHaveWhatEachOfThemHas) {
  const auto file = fileDictionary("/S/a"), other = fileDictionary("/S/b"), folder = folderDictionary("/S/d");
  const auto bookmarked = fileDictionary("/S/c", {{"bookmarked", true}});
  EXPECT_THAT(offered({file, other}), ElementsAre("ShowCustomFields", "Bookmark", "AddOffline"));
  EXPECT_THAT(offered({file, folder}), ElementsAre("Bookmark", "AddOffline"));
  EXPECT_THAT(offered({file, bookmarked}), ElementsAre("ShowCustomFields", "AddOffline"));
  EXPECT_THAT(offered({folder, {{"itemType", 5}}}), ElementsAre("RefreshDirectory"));
  EXPECT_THAT(offered({bookmarked, {{"itemType", 1}}}), IsEmpty());
  EXPECT_THAT(offered({}), IsEmpty());
}

TEST_F(OfferedActionsTest, EveryBadgeOfTheExtensionIsDeclared) {
  const auto& badges = FileProviderDecorations::manager();
  for (const auto& identifier :
       {badges.offlineShareIdentifier(), badges.bookmarkIdentifier(), badges.checkoutGreenIdentifier(),
        badges.checkoutAmberIdentifier(), badges.checkoutRedIdentifier()}) {
    const auto* const declared = catalogue_.decoration(identifier);
    ASSERT_TRUE(declared) << identifier;
    EXPECT_TRUE(contentsOf(declared->badgeImage).contains("<svg")) << identifier;
  }
}

}  // namespace
}  // namespace zelto::test
