#include <filesystem>

#include <fmt/format.h>
#include <syslog.h>

#include "support/ZeltoLocalise.h"
#include "tests/extension/Fixture.h"

namespace zelto::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class ZeltoLocaliseTest : public ExtensionFixture {
 protected:
  // What the system log is given while the function runs.
  template <typename Function>
  static std::string systemLogOf(Function function) {
    ZeltoLocalise::instance();
    ::openlog("zelto-test", LOG_PERROR, LOG_USER);
    testing::internal::CaptureStderr();
    function();
    auto written = testing::internal::GetCapturedStderr();
    ::closelog();
    return written;
  }
};

TEST_F(ZeltoLocaliseTest, TokensAreLookedUpInBothTablesWithTheirEscapes) {
  auto& texts = ZeltoLocalise::instance();
  texts.setLocalisedStrings({{"A", R"(un\nl\"deux\\n)"}, {"EMPTY", ""}, {"NUMBER", 5}});
  texts.setDefaultStrings({{"EMPTY", "base"}, {"B", "only base"}, {"A", "hidden"}, {"NUMBER", "five"}});
  EXPECT_EQ("un\nl'deux\\\n", ZeltoLocalise::localise("A"));
  EXPECT_EQ("base", ZeltoLocalise::localise("EMPTY"));
  EXPECT_EQ("only base", ZeltoLocalise::localise("B"));
  EXPECT_EQ("five", ZeltoLocalise::localise("NUMBER"));
  EXPECT_EQ("", ZeltoLocalise::localise(""));
}

TEST_F(ZeltoLocaliseTest, AMissingTokenIsReturnedAndReportedToTheSystemLog) {
  const auto written = systemLogOf([] { EXPECT_EQ("NO_SUCH_%n", ZeltoLocalise::localise("NO_SUCH_%n")); });
  EXPECT_THAT(written, HasSubstr("--- ZeltoLocalise token 'NO_SUCH_%n' not found"));
  EXPECT_EQ(1, std::ranges::count(written, '\n'));
  EXPECT_THAT(host().log(), IsEmpty());
}

TEST_F(ZeltoLocaliseTest, AnyBytesMayBeMissingAsAToken) {
  for (const auto& token : {std::string("\xff\xfe"), std::string("a\0b", 3), std::string(1'000'000, 'x')}) {
    systemLogOf([&] {
      EXPECT_EQ(token, ZeltoLocalise::localise(token, {{"n", 1}}).substr(0, token.size()));
    });
  }
}

TEST_F(ZeltoLocaliseTest, ItemsAndTheirCountAreNamed) {
  EXPECT_EQ("a.txt and 3 more", ZeltoLocalise::item("a.txt", 3));
  EXPECT_EQ("a.txt and -1 more", ZeltoLocalise::item("a.txt", -1));
  EXPECT_EQ("Uploaded a.txt", ZeltoLocalise::item("a.txt", 0));
  // The name is a template: this is what files with such names look like.
  EXPECT_EQ("Uploaded cost .txt", ZeltoLocalise::item("cost $5.txt", 0));
}

struct Filling {
  std::string rule;
  std::string key;
  std::string value;
  std::string text;
  std::string result;
  bool warns = false;
};

void PrintTo(const Filling& filling, std::ostream* stream) {
  *stream << filling.rule << ": " << testing::PrintToString(filling.key);
}

const Filling kFillings[] = {
    {"braces", "n", "3", "{{n}} {{ n }} { { n } } {\t{\nn\n}\t}", "3 3 3 3"},
    {"braces", "n", "3", "{{{n}}} {{n} {n}} {n}", "{3} {{n} {n}} {n}"},
    {"braces", "n", "3", "{{m}} {{N}} {{nn}} {{ n n }}", "{{m}} {{N}} {{nn}} {{ n n }}"},
    {"braces", "n", "", "a{{n}}b", "ab"},
    {"braces", "n", "3", "", ""},
    {"braces", "", "3", "{{}} {{ }} {{n}}", "3 3 {{n}}"},

    {"key", "a.c", "x", "{{abc}} {{a.c}}", "x x"},
    {"key", "[ab]", "x", "{{a}}{{b}}{{c}}", "xx{{c}}"},
    {"key", "(n)", "<$1>", "{{n}}", "<n>"},
    {"key", "a|b", "x", "{{a}} b }}", "x}} x"},
    {"key", "ä", "x", "{{ä}}", "x"},
    {"key", "{n}", "x", "{{n}}", "{{n}}", true},
    {"key", "(", "x", "{{(}}", "{{(}}", true},
    {"key", "[", "x", "{{[}}", "{{[}}", true},
    {"key", "n\\", "x", "{{n}}", "{{n}}"},
    {"key", "(a+)+", "x", "{{" + std::string(40, 'a') + "!", "{{" + std::string(40, 'a') + "!", true},

    {"value", "n", "$0", "a {{ n }}", "a {{ n }}"},
    {"value", "n", "$1|$9", "{{n}}", "|"},
    {"value", "n", "$ $x 5$", "{{n}}", "$ $x 5$"},
    {"value", "n", "\\$0", "{{n}}", "$0"},
    {"value", "n", "a\\b\\\\c\\", "{{n}}", "ab\\c"},
    {"value", "n", "{{n}}", "{{n}}", "{{n}}"},

    {"bytes", "n", "\xff", "{{n}}", "\uFFFD"},
    {"bytes", "n", "x", "\xff{{n}}", "\uFFFDx"},
    {"bytes", "n", "x", "\xff{{m}}", "\xff{{m}}"},
    {"bytes", "\xff", "x", "{{n}}", "{{n}}"},
    {"bytes", "n", std::string("a\0b", 3), "{{n}}", std::string("a\0b", 3)},
    {"bytes", "n", "x", std::string("{{n}}\0{{n}}", 11), std::string("x\0x", 3)},
    {"bytes", "n", "😀", "{{n}}😀{{n}}", "😀😀😀"},
};

class PlaceholderTest : public ExtensionFixture, public testing::WithParamInterface<Filling> {};

TEST_P(PlaceholderTest, IsFilledIn) {
  const auto& filling = GetParam();
  EXPECT_EQ(filling.result, ZeltoLocalise::stringByReplacingKey(filling.key, filling.value, filling.text));
  const auto warning = fmt::format("WARN ZeltoLocalise: Failed to build regex key '{}' for '{}'. Reason=The ",
                                   filling.key, filling.text);
  if (filling.warns) {
    EXPECT_THAT(host().linesWith(""), ElementsAre(StartsWith(warning)));
  } else {
    EXPECT_THAT(host().log(), IsEmpty());
  }
}

INSTANTIATE_TEST_SUITE_P(Rules, PlaceholderTest, testing::ValuesIn(kFillings),
                         [](const testing::TestParamInfo<Filling>& filling) {
                           return filling.param.rule + std::to_string(filling.index);
                         });

TEST_F(ZeltoLocaliseTest, ParametersAreFilledInOneAfterTheOther) {
  ZeltoLocalise::instance().setLocalisedStrings(
      {{"COPY", "Copy {{ name }} and {{n}} more to {{ place }}"}, {"PLAIN", "text"}});
  EXPECT_EQ("Copy a and 3 more to {{ place }}", ZeltoLocalise::localise("COPY", {{"name", "a"}, {"n", 3}}));
  EXPECT_EQ("Copy 3 and 3 more to {{ place }}",
            ZeltoLocalise::localise("COPY", {{"name", "{{n}}"}, {"n", "3"}}));
  EXPECT_EQ("text", ZeltoLocalise::localise("PLAIN", NSDictionary{{"text", "x"}}));
  EXPECT_EQ("TEXT?", ZeltoLocalise::localise("PLAIN", LocaliseOptionUppercase | LocaliseOptionQuestionMark));
  EXPECT_EQ("", ZeltoLocalise::localise("", NSDictionary{{"n", 1}}));
}

TEST_F(ZeltoLocaliseTest, OptionsAreAppliedInTheirFixedOrder) {
  const auto apply = &ZeltoLocalise::applyOptionsToString;
  const auto& ask = LocaliseOptionQuestionMark;
  EXPECT_EQ("Open...?", apply("Open", ask | LocaliseOptionEllipsis));
  EXPECT_EQ("One. \nTwo. Three", apply("One. \nTwo. Three", LocaliseOptions{}));
  EXPECT_EQ("One.\nTwo. Three?", apply("One. Two. Three", ask | LocaliseOptionBreakAfterFirstSentence));
  EXPECT_EQ("One.Two.", apply("One.Two.", LocaliseOptionBreakAfterFirstSentence));
  EXPECT_EQ("A.\n", apply("A. ", LocaliseOptionBreakAfterFirstSentence));
  EXPECT_EQ("STRASSE", apply("Straße", LocaliseOptionUppercase));
  EXPECT_EQ("open", apply("Open", LocaliseOptionUppercase | LocaliseOptionLowercase));
  EXPECT_EQ("Open The File", apply("OPEN THE FILE", LocaliseOptionCapitalised));
  EXPECT_EQ("x", apply("x", LocaliseOptions{0xFFFFFE00}));
}

TEST_F(ZeltoLocaliseTest, TheFirstCharacterIsMadeACapitalWhole) {
  const auto apply = [](const char* text) {
    return ZeltoLocalise::applyOptionsToString(text, LocaliseOptionFirstLetterUppercase);
  };
  EXPECT_EQ("Open THE file", apply("open THE file"));
  EXPECT_EQ("É", apply("é"));
  EXPECT_EQ("E\u0301t", apply("e\u0301t"));
  EXPECT_EQ("\U00010400\U00010428", apply("\U00010428\U00010428"));
  EXPECT_EQ("SSa", apply("ßa"));
  EXPECT_EQ("", apply(""));
  EXPECT_EQ(
      "\xff"
      "ab",
      apply("\xff"
            "ab"));
}

TEST_F(ZeltoLocaliseTest, QuestionsAreAppendedBeforeLettersChange) {
  const auto apply = &ZeltoLocalise::applyOptionsToString;
  auto& texts = ZeltoLocalise::instance();
  texts.setLocalisedStrings(
      {{"MESSAGE_ARE_YOU_SURE_CONTINUE", "Sure?"}, {"MESSAGE_CONTACT_SYS_ADMIN", "Ask."}});
  const auto both = LocaliseOptionAreYouSure | LocaliseOptionContactSysAdmin;
  EXPECT_EQ("a\n\nSure?\n\nAsk.", apply("a", both));
  EXPECT_EQ("A?\n\nSURE?",
            apply("a", LocaliseOptionAreYouSure | LocaliseOptionUppercase | LocaliseOptionQuestionMark));
  // Kept from the first use on, until they are set.
  texts.setLocalisedStrings({{"MESSAGE_ARE_YOU_SURE_CONTINUE", "Really?"}});
  EXPECT_EQ("Sure?", texts.optionAreYouSure());
  texts.setOptionAreYouSure("Set");
  texts.setOptionContactSysAdmin("Also");
  EXPECT_EQ("a\n\nSet\n\nAlso", apply("a", both));
  texts.setOptionAreYouSure(std::nullopt);
  EXPECT_EQ("Really?", texts.optionAreYouSure());
}

TEST_F(ZeltoLocaliseTest, MissingOrBrokenTablesLeaveTheTokens) {
  const auto folder = dataFolder() + "/broken";
  std::filesystem::create_directories(folder + "/Base.lproj/Folder.json");
  writeFile(folder + "/Base.lproj/Strings.json", "{ not json");
  writeFile(folder + "/Base.lproj/List.json", "[1]");
  writeFile(folder + "/Base.lproj/Bytes.json", "{\"A\":\"\xff\"}");
  writeFile(folder + "/Base.lproj/Empty.json", "");
  writeFile(folder + "/Base.lproj/Huge.json", "");
  std::filesystem::resize_file(folder + "/Base.lproj/Huge.json", (64U << 20) + 1);
  ::setenv("ZELTO_RESOURCES", folder.c_str(), 1);
  const auto load = [](const char* name, const char* directory) {
    return ZeltoLocalise::loadStringsForResource(name, "json", directory);
  };
  EXPECT_FALSE(load("Strings", "xx.lproj"));
  EXPECT_FALSE(load("Missing", ""));
  EXPECT_FALSE(load("Folder", ""));
  for (const auto* name : {"Strings", "Bytes", "Empty", "Huge", "List"})
    EXPECT_FALSE(load(name, "Base.lproj")) << name;
  const auto failed = StartsWith("WARN ZeltoLocalise: Failed to serialise data for 'Base.lproj: ");
  EXPECT_THAT(
      host().linesWith("ZeltoLocalise"),
      ElementsAre(
          "WARN ZeltoLocalise: Failed to build path for 'xx.lproj: Strings.json'",
          "WARN ZeltoLocalise: Failed to build path for 'Locale: Missing.json'",
          "WARN ZeltoLocalise: Failed to build path for 'Locale: Folder.json'", failed, failed, failed,
          StartsWith("WARN ZeltoLocalise: Failed to load data for 'Base.lproj: Huge.json'. Error=“/")));
  systemLogOf([] { EXPECT_EQ("/MY_FILES", "/" + ZeltoLocalise::localise("MY_FILES")); });
}

// Each language's table must have every token with its placeholders, or its users see two languages mixed.
TEST_F(ZeltoLocaliseTest, EveryLanguageHasEveryToken) {
  int tables = 0;
  const auto base = ZeltoLocalise::instance().defaultStrings();
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
    ZeltoLocalise::instance().setLocalisedStrings(*strings);
    for (const auto& text : {ZeltoLocalise::item("NAME", 47), ZeltoLocalise::item("NAME", 0)}) {
      EXPECT_TRUE(text.contains("NAME") && !text.contains('{')) << folder.path() << text;
    }
  }
  EXPECT_EQ(7, tables);
  EXPECT_EQ(25, base.size());
}

TEST_F(ZeltoLocaliseTest, TheUsersLanguageComesBeforeTheDefault) {
  ::setenv("LANGUAGE", "de", 1);
  EXPECT_EQ("Meine Dateien", ZeltoLocalise::localise("MY_FILES"));
  EXPECT_EQ("Übersicht.txt und 2 weitere", ZeltoLocalise::item("Übersicht.txt", 2));
}

}  // namespace
}  // namespace zelto::test
