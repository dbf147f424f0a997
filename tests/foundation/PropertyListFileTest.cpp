#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform/foundation/PropertyListFile.h"
#include "tests/foundation/TemporaryFolder.h"

namespace zelto {
namespace {

constexpr std::string_view kHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">";

std::string document(std::string_view body) { return std::string(kHead) + std::string(body) + "</plist>\n"; }

TEST(PropertyListFileTest, readsEveryKindOfValue) {
  const TemporaryFolder folder;
  const auto path = folder.write(
      "a.plist",
      document("<!-- <array> --><dict><key>s</key><string>a &amp; ü</string><key>i</key><integer>-7</integer>"
               "<key>r</key><real>0.5</real><key>t</key><true/><key>d</key><date>2024-03-05T13:07:09Z</date>"
               "<key>b</key><data>YWJj</data><key>a</key><array><string></string><dict/></array></dict>"));
  EXPECT_EQ(dictionaryWithContentsOfFile(path), (NSDictionary{{"s", "a & ü"},
                                                              {"i", -7},
                                                              {"r", 0.5},
                                                              {"t", true},
                                                              {"d", NSDate::since1970(1709644029)},
                                                              {"b", NSData::copyOf("abc")},
                                                              {"a", NSArray{"", NSDictionary{}}}}));
}

TEST(PropertyListFileTest, refusesOtherFiles) {
  const TemporaryFolder folder;
  EXPECT_FALSE(dictionaryWithContentsOfFile(folder.path("missing")));
  EXPECT_FALSE(dictionaryWithContentsOfFile(folder.path()));
  ASSERT_EQ(::mkfifo(folder.path("pipe").c_str(), 0600), 0);
  EXPECT_FALSE(dictionaryWithContentsOfFile(folder.path("pipe")));
  EXPECT_FALSE(
      dictionaryWithContentsOfFile(folder.write("large", document(std::string(5 << 20, ' ') + "<dict/>"))));
  for (const std::string_view body : {"", "<array/>", "<dict>", "<dict><string>v</string></dict>",
                                      "<dict><key>a</key><integer>x</integer><nothing/></dict>"}) {
    EXPECT_FALSE(dictionaryWithContentsOfFile(folder.write("bad", document(body)))) << body;
  }
  EXPECT_FALSE(dictionaryWithContentsOfFile(folder.write("noise", std::string(1000, '\xfe'))));
}

// The library would recurse into each level; what looks like an end tag must not hide them.
TEST(PropertyListFileTest, refusesDeepNesting) {
  const TemporaryFolder folder;
  for (const std::string_view level :
       {"<array>", "<array><!-- </array> -->", "<array><!DOCTYPE x \"></array>\">",
        "<array><?x \"?></array>\" ?>", "<array><string><![CDATA[</array>]]></string>"}) {
    std::string deep = "<dict><key>a</key>";
    for (int i = 0; i < 100'000; ++i) deep += level;
    EXPECT_FALSE(dictionaryWithContentsOfFile(folder.write("deep", document(deep)))) << level;
  }
  const std::string entities = "<!DOCTYPE plist [<!ENTITY a \"x\">]><plist><dict/></plist>";
  EXPECT_FALSE(dictionaryWithContentsOfFile(folder.write("entities", entities)));
}

}  // namespace
}  // namespace zelto
