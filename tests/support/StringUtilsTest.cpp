#include "support/StringUtils.h"
#include "tests/extension/Fixture.h"

namespace zelto::test {
namespace {

using namespace std::string_view_literals;
using testing::StartsWith;

class StringUtilsTest : public ExtensionFixture {};

TEST_F(StringUtilsTest, APathIsInTheHierarchyOfThoseAboveIt) {
  for (const auto* above : {"/a/b", "/a", "/a/b/", "//a//b", "/", ""}) {
    EXPECT_TRUE(u_isInHierarchyOfPath("/a/b/c", above)) << above;
  }
  for (const auto* other : {"/a/b/c", "/a/bc", "/A/b", "a/b", "/a/b/c/d", "/b"}) {
    EXPECT_FALSE(u_isInHierarchyOfPath("/a/b/c", other)) << other;
  }
  EXPECT_FALSE(u_isInHierarchyOfPath("", ""));
  EXPECT_TRUE(u_isInHierarchyOfPath("/", ""));
}

TEST_F(StringUtilsTest, TheAppPathIsTheNearestOneUpwards) {
  EXPECT_EQ("/Apps/Z.app", u_appPath("/Apps/Z.app/Contents/MacOS/Z"));
  EXPECT_EQ("/Apps/Z.app/In.app", u_appPath("/Apps/Z.app/In.app/x"));
  EXPECT_EQ("/Apps/Z.app", u_appPath("/Apps/Z.app"));
  EXPECT_EQ("/Z.app", u_appPath("/Z.app/x"));
  // With a single component left the walk ends, and that one is still looked at.
  EXPECT_EQ("Z.app", u_appPath("Z.app/x"));
  for (const auto* none : {"/Apps/Z.APP/x", "/.app/x", "/a/b", "/", "", "x"})
    EXPECT_EQ(none, u_appPath(none));
}

TEST_F(StringUtilsTest, ComponentsAreAppendedWithOneSeparatorEach) {
  const std::vector<std::string> components{"b", "/c/", "d/e"};
  EXPECT_EQ("/a/b/c/d/e", u_stringByAppendingPathComponents("/a/", components));
  EXPECT_EQ("/a/", u_stringByAppendingPathComponents("/a/", {}));
}

TEST_F(StringUtilsTest, ExtensionsAreComparedInSmallLetters) {
  const std::vector<std::string> extensions{"txt", "é", "PDF"};
  EXPECT_TRUE(u_hasPathExtension("/a/Report.TXT", extensions));
  EXPECT_TRUE(u_hasPathExtension("x.É", extensions));
  for (const auto* path : {"a.pdf", "a.txt.gz", "txt", ".txt", "a.", "", "a.txt/b"}) {
    EXPECT_FALSE(u_hasPathExtension(path, extensions)) << path;
  }
  EXPECT_FALSE(u_hasPathExtension("a.txt", {}));
}

TEST_F(StringUtilsTest, SensitiveTextsShowTheirEndsAtMost) {
  EXPECT_EQ("<empty>", u_sensitiveStringAlwaysHidden("", false));
  EXPECT_EQ("<empty>", u_sensitiveStringAlwaysHidden("", true));
  EXPECT_EQ("<** hidden **>", u_sensitiveStringAlwaysHidden("abcdefghi", false));
  EXPECT_EQ("<** hidden **>", u_sensitiveStringAlwaysHidden("abcdefghij", true));
  EXPECT_EQ("abcd...ghij", u_sensitiveStringAlwaysHidden("abcdefghij", false));
  EXPECT_EQ("abcd...hijk", u_sensitiveStringAlwaysHidden("abcdefghijk", false));
  EXPECT_EQ("0123456789...cdefghijkl", u_sensitiveStringAlwaysHidden("0123456789abcdefghijkl", false));
  EXPECT_EQ("0123456789...0123456789",
            u_sensitiveStringAlwaysHidden("0123456789" + std::string(1'000'000, 'x') + "0123456789", false));
}

// An emoji is two units: five of them are ten, and four units of either end show two whole ones.
TEST_F(StringUtilsTest, SensitiveTextsAreCountedInUnitsAndCutBetweenCharacters) {
  EXPECT_EQ("😀😁...😃😄", u_sensitiveStringAlwaysHidden("😀😁😂😃😄", false));
  EXPECT_EQ("<** hidden **>", u_sensitiveStringAlwaysHidden("äöüäöüäöü", false));
  // The fourth unit from either end is in the middle of a character: it is left out.
  EXPECT_EQ("abc...cba", u_sensitiveStringAlwaysHidden("abc😀😀cba", false));
  EXPECT_EQ("abc...cba", u_sensitiveStringAlwaysHidden("abce\u0301o\u0301cba", false));
  // Bytes that are not UTF-8 count as one replacement character each.
  EXPECT_EQ("\uFFFDbcd...ghi\uFFFD", u_sensitiveStringAlwaysHidden("\xff"
                                                                   "bcdefghi\x80",
                                                                   false));
}

TEST_F(StringUtilsTest, JsonOfAnyTypeIsParsedAndFailuresAreWarnings) {
  EXPECT_EQ(PropertyListValue(NSDictionary{{"a", 1}}), u_DictionaryForJSON(R"({"a":1})"));
  EXPECT_EQ(PropertyListValue(NSArray{"b"}), u_DictionaryForJSON(R"(["b"])"));
  const auto rejected = {"", "{", "\xff", "[\"\xff\"]", "{\"a\":1}x"};
  for (const auto* text : rejected) EXPECT_FALSE(u_DictionaryForJSON(text)) << text;
  EXPECT_FALSE(u_DictionaryForJSON(std::string(1'000'000, '[')));
  const auto lines = host().linesWith("Utils:");
  EXPECT_EQ(rejected.size() + 1, lines.size());
  EXPECT_THAT(lines.at(1), StartsWith("WARN Utils: Failed to convert to json '{'.\nReason: Error Domain="));
}

TEST_F(StringUtilsTest, EveryWordIsCapitalisedAndTheRestKept) {
  EXPECT_EQ("The  Quick-Brown (Fox) It's 3rd\tÉtat",
            u_captilisiedString("tHE  quick-BROWN (fox) it's 3RD\tÉTAT"));
  EXPECT_EQ("", u_captilisiedString(""));
  EXPECT_EQ("--- ...", u_captilisiedString("--- ..."));
  EXPECT_EQ("A\uFFFDB", u_captilisiedString("a\xff"
                                            "b"));
}

// The dotted capital is Turkish; the option of a whole text in capitals knows no language.
TEST_F(StringUtilsTest, CapitalLettersAreThoseOfTheUsersLocale) {
  ::setenv("LC_ALL", "tr_TR.UTF-8", 1);
  EXPECT_EQ("İstanbul Ilık", u_captilisiedString("istanbul ılık"));
}

TEST_F(StringUtilsTest, SearchIsLiteral) {
  EXPECT_TRUE(u_containsString("a.b", "."));
  EXPECT_FALSE(u_containsString("ab", "."));
  EXPECT_FALSE(u_containsString("aB", "b"));
  EXPECT_FALSE(u_containsString("e\u0301", "é"));
  EXPECT_FALSE(u_containsString("a", ""));
}

TEST_F(StringUtilsTest, WebPrefixesMayHaveAnyNumberOfS) {
  for (const auto* text : {"HTTPS://x", "http://x", "httpss://x", "https://", "HtTp://"}) {
    EXPECT_TRUE(u_hasHTTPSPrefix(text)) << text;
  }
  for (const auto* text : {"", "ftp://x", " https://x", "x\nhttps://x", "https:/x", "htt://", "https"}) {
    EXPECT_FALSE(u_hasHTTPSPrefix(text)) << text;
  }
}

TEST_F(StringUtilsTest, CharactersAreLookedUpWhole) {
  const auto set = NSCharacterSet::characterSetWithCharactersInString("aé😀\xff");
  EXPECT_TRUE(u_onlyContainsCharactersInSet("", set));
  EXPECT_TRUE(u_onlyContainsCharactersInSet("😀aé", set));
  for (const auto* text : {"b", "e", "😁", "a\xff", "\xf0\x9f\x98"}) {
    EXPECT_FALSE(u_onlyContainsCharactersInSet(text, set)) << text;
  }
  EXPECT_FALSE(u_onlyContainsCharactersInSet("a\0"sv, set));
}

TEST_F(StringUtilsTest, EqualityIsLiteralOrKnowsCaseAndAccents) {
  EXPECT_TRUE(u_isEqualToCaseInsensitive("GROSSE É", "große e\u0301"));
  EXPECT_FALSE(u_isEqualToCaseInsensitive("a", "ä"));
  EXPECT_TRUE(u_isEqualToCaseInsensitive("", ""));
  EXPECT_TRUE(u_isEqualToString("é", "é"));
  EXPECT_FALSE(u_isEqualToString("é", "e\u0301"));
  EXPECT_FALSE(u_isEqualToString("", std::nullopt));
}

TEST_F(StringUtilsTest, PathsAndQueriesAreEncodedByTheirOwnRules) {
  EXPECT_EQ("/a%20b/%C3%A9%25%3F%23%3B%5B%5D:@!$&'()*+,=-._~",
            u_pathEncodedString("/a b/é%?#;[]:@!$&'()*+,=-._~"));
  EXPECT_EQ("a=%20&b=/?;%C3%A9%25%23%5B%5D%22%00", u_queryStringEncoded("a= &b=/?;é%#[]\"\0"sv));
  EXPECT_EQ("", u_pathEncodedString(""));
  EXPECT_FALSE(u_pathEncodedString("a\xff"));
}

TEST_F(StringUtilsTest, IntegersAndBuffersBecomeTexts) {
  EXPECT_EQ("-9223372036854775808", u_stringForInteger(std::numeric_limits<std::int64_t>::min()));
  EXPECT_EQ("0", u_stringForInteger(0));
  EXPECT_EQ("é", u_stringWithUTF8String("é"));
  EXPECT_EQ("", u_stringWithUTF8String(nullptr));
  EXPECT_EQ("", u_stringWithUTF8String("a\xff"));
}

}  // namespace
}  // namespace zelto::test
