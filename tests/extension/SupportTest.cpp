#include <filesystem>

#include <syslog.h>

#include "support/DictionaryUtils.h"
#include "support/ErrorUtils.h"
#include "support/ZeltoLocalise.h"
#include "tests/extension/Fixture.h"

namespace zelto::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

class SupportTest : public ExtensionFixture {};

TEST_F(SupportTest, BooleansAreReadFromNumbersAndTexts) {
  const auto read = [](const PropertyListValue& value) { return u_boolForKey({{"k", value}}, "k"); };
  for (const auto& value : std::vector<PropertyListValue>{true, 1, -3, 0.5, "yes", "Y", "true", "T", "1",
                                                          "  +007", "-9x", "tomorrow"}) {
    EXPECT_TRUE(read(value)) << description(value);
  }
  for (const auto& value :
       std::vector<PropertyListValue>{false, 0, 0.0, "", "no", "0", "000", "false", "+", "- 1", NSDate(),
                                      NSData::copyOf("1"), NSArray{true}}) {
    EXPECT_FALSE(read(value)) << description(value);
    EXPECT_EQ(!value.isNumber() && value.asString() == nullptr, u_boolForKey({{"k", value}}, "k", true));
  }
  EXPECT_FALSE(u_boolForKey({}, "k"));
  EXPECT_TRUE(u_boolForKey({}, "k", true));
}

TEST_F(SupportTest, NumbersAreNotReadFromTexts) {
  const NSDictionary dictionary{{"n", 5}, {"b", true}, {"s", "5"}};
  EXPECT_EQ(5, u_numberForKey(dictionary, "n")->integerValue());
  EXPECT_TRUE(u_numberForKey(dictionary, "b"));
  EXPECT_FALSE(u_numberForKey(dictionary, "s"));
  EXPECT_FALSE(u_numberForKey(dictionary, "x"));
}

TEST_F(SupportTest, JsonFailuresAreWarningsWithoutTheDictionary) {
  EXPECT_EQ("{\"a\":\"b\"}", u_jsonForDictionary(NSDictionary{{"a", "b"}}));
  EXPECT_FALSE(u_jsonForDictionary(std::nullopt));
  EXPECT_FALSE(u_jsonForDictionary(NSDictionary{{"secret", NSDate()}}));
  EXPECT_THAT(host().linesWith("Utils:"),
              ElementsAre("WARN Utils: Failed to convert dictionary to json. Reason: Null dictionary",
                          StartsWith("WARN Utils: Failed to convert to string 'NSDictionary'. Reason: Error "
                                     "Domain=")));
}

TEST_F(SupportTest, ReasonAddsTheServersResponseOfABadResponseOnly) {
  const auto error = [](std::int64_t code, std::string_view body) {
    return NSError("web", code,
                   {{NSLocalizedDescriptionKey, "bad response"},
                    {"com.alamofire.serialization.response.error.data", NSData::copyOf(body)}});
  };
  EXPECT_EQ("bad response\n{\n    message = locked;\n}", u_reason(error(-1011, R"({"message":"locked"})")));
  EXPECT_EQ("bad response", u_reason(error(-1011, "<html>")));
  EXPECT_EQ("bad response", u_reason(error(-1012, R"({"message":"locked"})")));
  EXPECT_EQ("bad response", u_reason(NSError("web", -1011, {{NSLocalizedDescriptionKey, "bad response"}})));
}

TEST_F(SupportTest, TokensAreLookedUpInBothTablesWithTheirEscapes) {
  auto& texts = ZeltoLocalise::instance();
  texts.setLocalisedStrings({{"A", "un\\nl\\\"deux"}, {"EMPTY", ""}});
  texts.setDefaultStrings({{"EMPTY", "base"}, {"B", "only base"}, {"A", "hidden"}});
  EXPECT_EQ("un\nl'deux", ZeltoLocalise::localise("A"));
  EXPECT_EQ("base", ZeltoLocalise::localise("EMPTY"));
  EXPECT_EQ("only base", ZeltoLocalise::localise("B"));
  EXPECT_EQ("", ZeltoLocalise::localise(""));
}

TEST_F(SupportTest, AMissingTokenIsReturnedAndReportedToTheSystemLog) {
  ZeltoLocalise::instance();
  ::openlog("zelto-test", LOG_PERROR, LOG_USER);
  testing::internal::CaptureStderr();
  EXPECT_EQ("NO_SUCH_TOKEN", ZeltoLocalise::localise("NO_SUCH_TOKEN"));
  const auto written = testing::internal::GetCapturedStderr();
  ::closelog();
  EXPECT_THAT(written, HasSubstr("--- ZeltoLocalise token 'NO_SUCH_TOKEN' not found"));
  EXPECT_TRUE(host().log().empty());
}

TEST_F(SupportTest, MissingOrBrokenTablesLeaveTheTokens) {
  const auto folder = dataFolder() + "/broken";
  std::filesystem::create_directories(folder + "/Base.lproj");
  writeFile(folder + "/Base.lproj/Strings.json", "{ not json");
  writeFile(folder + "/Base.lproj/List.json", "[1]");
  ::setenv("ZELTO_RESOURCES", folder.c_str(), 1);
  EXPECT_FALSE(ZeltoLocalise::loadStringsForResource("Strings", "json", "xx.lproj"));
  EXPECT_FALSE(ZeltoLocalise::loadStringsForResource("Missing", "json", ""));
  EXPECT_FALSE(ZeltoLocalise::loadStringsForResource("Strings", "json", "Base.lproj"));
  EXPECT_FALSE(ZeltoLocalise::loadStringsForResource("List", "json", "Base.lproj"));
  EXPECT_THAT(
      host().linesWith("ZeltoLocalise"),
      ElementsAre("WARN ZeltoLocalise: Failed to build path for 'xx.lproj: Strings.json'",
                  "WARN ZeltoLocalise: Failed to build path for 'Locale: Missing.json'",
                  StartsWith("WARN ZeltoLocalise: Failed to serialise data for 'Base.lproj: Strings.json'. "
                             "Error=Error Domain=")));
  EXPECT_EQ("/MY_FILES", FileProviderItem::identifierForMyFiles());
}

// Each language's table must have every token, or its users see two languages mixed.
TEST_F(SupportTest, EveryLanguageHasEveryToken) {
  int tables = 0;
  for (const auto& folder : std::filesystem::directory_iterator(ZELTO_TEST_RESOURCES)) {
    if (folder.path().extension() != ".lproj") continue;
    ++tables;
    const auto strings = ZeltoLocalise::loadStringsForResource("Strings", "json", folder.path().filename());
    ASSERT_TRUE(strings) << folder.path();
    for (const auto* token :
         {"MY_FILES", "BOOKMARKS", "OFFLINE_FILES", "UNKNOWN", "ITEM_AND_N_MORE", "UPLOADED_FILE",
          "MESSAGE_ARE_YOU_SURE_CONTINUE", "MESSAGE_CONTACT_SYS_ADMIN"}) {
      const auto* text = strings->find(token);
      EXPECT_TRUE(text != nullptr && text->asString() != nullptr && !text->asString()->empty())
          << folder.path() << token;
    }
  }
  EXPECT_EQ(7, tables);
}

}  // namespace
}  // namespace zelto::test
