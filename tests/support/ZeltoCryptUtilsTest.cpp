#include <fmt/format.h>

#include "platform/foundation/Base64.h"
#include "platform/foundation/CommonCrypto.h"
#include "support/StringUtils.h"
#include "support/ZeltoCryptUtils.h"
#include "tests/extension/Fixture.h"

namespace zelto::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

class ZeltoCryptUtilsTest : public ExtensionFixture {};

// RFC 1321, A.5.
TEST_F(ZeltoCryptUtilsTest, Md5GivesThePublishedDigests) {
  std::string digits;
  for (int i = 0; i < 8; ++i) digits += "1234567890";
  const std::pair<std::string, std::string> vectors[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"a", "0cc175b9c0f1b6a831c399e269772661"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
      {digits, "57edf4a22be3c955ac49da2e2107b67a"}};
  for (const auto& [text, digest] : vectors) {
    EXPECT_EQ(digest, ZeltoCryptUtils::md5StringForString(text)) << text;
    EXPECT_EQ(digest, u_MD5(text));
  }
  EXPECT_EQ(u_MD5("abc"), u_MD5(std::string_view("abc\0def", 7))) << "only what is before the NUL counts";
}

struct HmacVector {
  std::string key;
  std::string message;
  // Of a truncated code only what is published.
  std::string code;
};

// RFC 4231, section 4.
const HmacVector kHmacVectors[] = {
    {std::string(20, '\x0b'), "Hi There", "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7"},
    {"Jefe", "what do ya want for nothing?",
     "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843"},
    {std::string(20, '\xaa'), std::string(50, '\xdd'),
     "773ea91e36800e46854db8ebd09181a72959098b3ef8c122d9635514ced565fe"},
    {"\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a\x0b\x0c\x0d\x0e\x0f\x10\x11\x12\x13\x14\x15\x16\x17\x18\x19",
     std::string(50, '\xcd'), "82558a389a443c0ea4cc819899f2083a85f0faa3e578f8077a2e3ff46729665b"},
    {std::string(20, '\x0c'), "Test With Truncation", "a3b6167473100ee06e0c796c2955552b"},
    {std::string(131, '\xaa'), "Test Using Larger Than Block-Size Key - Hash Key First",
     "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54"},
    {std::string(131, '\xaa'),
     "This is a test using a larger than block-size key and a larger than block-size data. The key needs to "
     "be "
     "hashed before being used by the HMAC algorithm.",
     "9b09ffa71b942fcb27635fbcd5b0e944bfdc63644f0713938a7f51535c3a35e2"}};

TEST_F(ZeltoCryptUtilsTest, HmacGivesThePublishedCodes) {
  for (const auto& [key, message, code] : kHmacVectors) {
    EXPECT_THAT(fmt::format("{:02x}", fmt::join(hmacSHA256(key, message), "")), StartsWith(code));
  }
  EXPECT_EQ("W9zBRr9gdU5qBCQmCJV1x1oAPwidJzmDnexYuWTsOEM=",
            ZeltoCryptUtils::base64HMACWithString("what do ya want for nothing?", "Jefe"));
  EXPECT_EQ(ZeltoCryptUtils::base64HMACWithString("m", "k"),
            ZeltoCryptUtils::base64HMACWithString(std::string_view("m\0x", 3), std::string_view("k\0y", 3)));
  // Both empty.
  EXPECT_EQ("thNnmggU2ex3L5XXeMNfxf8Wl8STcVZTxscSFEKSxa0=", ZeltoCryptUtils::base64HMACWithString("", ""));
}

// RFC 4648, section 10.
TEST_F(ZeltoCryptUtilsTest, Base64GivesThePublishedTextsAndReadsThemWithoutPadding) {
  const std::pair<std::string, std::string> vectors[] = {{"", ""},
                                                         {"f", "Zg=="},
                                                         {"fo", "Zm8="},
                                                         {"foo", "Zm9v"},
                                                         {"foob", "Zm9vYg=="},
                                                         {"fooba", "Zm9vYmE="},
                                                         {"foobar", "Zm9vYmFy"}};
  for (const auto& [text, encoded] : vectors) {
    EXPECT_EQ(encoded, ZeltoCryptUtils::base64Encode(text));
    EXPECT_EQ(text, ZeltoCryptUtils::base64Decode(encoded));
    EXPECT_EQ(text, ZeltoCryptUtils::base64Decode(encoded.substr(0, encoded.find('='))));
  }
}

TEST_F(ZeltoCryptUtilsTest, Base64TakesBothAlphabets) {
  EXPECT_EQ("\u00fb\u00ff~?", ZeltoCryptUtils::base64Decode("w7vDv34/"));
  EXPECT_EQ("\u00fb\u00ff~?", ZeltoCryptUtils::base64Decode("w7vDv34_"));
  EXPECT_EQ("\xfb\xef", base64Decoded("--8"));
  EXPECT_EQ("\xfb\xef", base64Decoded("++8="));
  EXPECT_EQ("++8=", base64Encoded("\xfb\xef"));
}

TEST_F(ZeltoCryptUtilsTest, WhatIsNotBase64OrNotTextGivesNothing) {
  for (const std::string_view text : {"Z", "Zg=", "Zg===", "=", "====", "Zg==Zg==", "Z=g=", "Zm9v=", "Zm 9v",
                                      "Zm9v\n", "Zm9*", "Zé==", "Zm9vY"}) {
    EXPECT_FALSE(ZeltoCryptUtils::base64Decode(text)) << text;
  }
  EXPECT_FALSE(ZeltoCryptUtils::base64Decode(std::string_view("Zm\0v", 4)));
  EXPECT_FALSE(ZeltoCryptUtils::base64Decode("/w==")) << "not UTF-8";
  EXPECT_EQ(std::string(1, '\0'), ZeltoCryptUtils::base64Decode("AA=="));
}

// The library is handed the text in parts.
TEST_F(ZeltoCryptUtilsTest, LongTextsGoThroughBase64Whole) {
  for (const std::size_t size : {3U << 20, (3U << 20) + 1, 10'000'001U}) {
    std::string text(size, 'x');
    text.replace(size / 2, 3, "abc");
    EXPECT_TRUE(ZeltoCryptUtils::base64Decode(ZeltoCryptUtils::base64Encode(text)) == text) << size;
  }
}

TEST_F(ZeltoCryptUtilsTest, AccountKeysAreInSmallLetters) {
  const auto key = [](const char* user, const char* server) {
    return ZeltoCryptUtils::accountKeyForUserId(user, server).value_or("");
  };
  EXPECT_EQ("anna@files.example.com", key("Anna", "http://Files.Example.COM:443/path?x=1"));
  EXPECT_EQ("anna@files.example.com:8443", key("ANNA", "files.example.com:8443"));
  EXPECT_EQ("änne@müller.example", key("ÄNNE", "MÜLLER.example"));
  EXPECT_THAT(host().log(), IsEmpty());
  EXPECT_EQ("", key("", "files.example.com"));
  EXPECT_EQ("", key("anna", "https://:8443"));
  EXPECT_THAT(
      host().linesWith("account key"),
      ElementsAre("WARN ZeltoCryptUtils: Cannot create account key for userId='', server='files.example.com'",
                  "WARN ZeltoCryptUtils: Cannot create account key for userId='anna', "
                  "server='https://:8443'"));
}

// {"sub":"1234567890","name":"Jörg"} in the URL-safe alphabet without padding, as servers send it.
TEST_F(ZeltoCryptUtilsTest, ATokensClaimsAreItsBody) {
  const NSDictionary claims{{"sub", "1234567890"}, {"name", "Jörg"}};
  EXPECT_EQ(claims,
            ZeltoCryptUtils::dictionaryForAuthToken("h.eyJzdWIiOiIxMjM0NTY3ODkwIiwibmFtZSI6IkrDtnJnIn0.s"));
  EXPECT_EQ(claims,
            ZeltoCryptUtils::dictionaryForAuthToken(".eyJzdWIiOiIxMjM0NTY3ODkwIiwibmFtZSI6IkrDtnJnIn0=."));
  EXPECT_THAT(host().log(), IsEmpty());
}

TEST_F(ZeltoCryptUtilsTest, ABadTokenGivesNothingAndOneLine) {
  const std::pair<std::string, std::string> tokens[] = {
      {"", "WARN ZeltoCryptUtils: Invalid auth token ''"},
      {"a.b", "WARN ZeltoCryptUtils: Invalid auth token 'a.b'"},
      {"a.b.c.d", "WARN ZeltoCryptUtils: Invalid auth token 'a.b.c.d'"},
      {"a..c", "WARN ZeltoCryptUtils: Empty body for auth token 'a..c'"},
      {"..", "WARN ZeltoCryptUtils: Empty body for auth token '..'"},
      {"a.*.c", "WARN ZeltoCryptUtils: Failed to decode auth token body '*'"},
      {"a._w.c", "WARN ZeltoCryptUtils: Failed to decode auth token body '_w'"},
      {"a.WzFd.c",
       "*** ERROR* ** ZeltoCryptUtils: Failed to create jSON from authToken (Error=(null)) token='[1]'"}};
  for (const auto& [token, line] : tokens) {
    EXPECT_FALSE(ZeltoCryptUtils::dictionaryForAuthToken(token)) << token;
    EXPECT_EQ(line, host().linesWith("Utils").back());
  }
  EXPECT_EQ(std::size(tokens), host().log().size());
  EXPECT_FALSE(ZeltoCryptUtils::dictionaryForAuthToken("a.e30i.c"));
  EXPECT_THAT(
      host().linesWith("Utils").back(),
      StartsWith("*** ERROR* ** ZeltoCryptUtils: Failed to create jSON from authToken (Error=Error Domain="));
  EXPECT_THAT(host().linesWith("Utils").back(), testing::EndsWith(") token='{}\"'"));
  EXPECT_FALSE(ZeltoCryptUtils::dictionaryForAuthToken(std::string(1'000'000, '.')));
}

}  // namespace
}  // namespace zelto::test
