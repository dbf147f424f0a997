#include "model/FileProviderDecorations.h"
#include "tests/extension/Fixture.h"

namespace zelto::test {
namespace {

using testing::ElementsAre;

class DecorationsTest : public ExtensionFixture {
 protected:
  // The badges of what the host describes, without their prefix.
  static std::vector<std::string> badges(const NSDictionary& dictionary) {
    std::vector<std::string> result;
    for (const auto& identifier : FileProviderItem::providerItemForDictionary(dictionary)->decorations()) {
      const std::string prefix = "it.pellam.Zelto.Provider.";
      EXPECT_TRUE(identifier.starts_with(prefix)) << identifier;
      result.push_back(identifier.substr(prefix.size()));
    }
    return result;
  }
  static NSDictionary checkedOut(const NSDictionary& extra) {
    auto result = fileDictionary("/S/a", extra);
    result.set("canShowCheckoutStatus", true);
    return result;
  }
};

TEST_F(DecorationsTest, BadgesFollowTheFlagsInTheirOrder) {
  EXPECT_THAT(badges(fileDictionary("/S/a")), ElementsAre());
  EXPECT_THAT(badges({{"itemType", 5}, {"offlineShare", true}}), ElementsAre("offlineShare"));
  EXPECT_THAT(badges(folderDictionary("/S/d", {{"bookmarked", true}})), ElementsAre("bookmark"));
  EXPECT_THAT(badges({{"itemType", 4}}), ElementsAre("bookmark"));
  EXPECT_THAT(badges(checkedOut({{"checkedOutByCurrentUser", true}})), ElementsAre("checkoutGreen"));
  EXPECT_THAT(badges(checkedOut({{"checkedOutByOtherUser", true}})), ElementsAre("checkoutRed"));
  EXPECT_THAT(badges(checkedOut({{"checkedOutByOtherUser", true}, {"checkoutManager", true}})),
              ElementsAre("checkoutAmber"));
  EXPECT_THAT(badges(checkedOut({{"checkoutManager", true}})), ElementsAre());
  EXPECT_THAT(
      badges(checkedOut(
          {{"bookmarked", true}, {"checkedOutByCurrentUser", true}, {"checkedOutByOtherUser", true}})),
      ElementsAre("bookmark", "checkoutGreen", "checkoutRed"));
}

}  // namespace
}  // namespace zelto::test
