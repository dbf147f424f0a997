#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/foundation/ArchiveWriter.h"
#include "platform/foundation/KeyedArchive.h"
#include "platform/foundation/PropertyListNode.h"

namespace zelto {
namespace {

NSDictionary dateDictionary(double seconds) { return {{"date", NSDate::sinceReferenceDate(seconds)}}; }

NSData dataOf(std::vector<int> bytes) {
  std::vector<std::byte> result;
  for (const int byte : bytes) result.push_back(static_cast<std::byte>(byte));
  return NSData(std::move(result));
}

// The binary list of the given objects, numbered from 0, with the first as its root.
NSData binaryList(const std::vector<std::string>& objects) {
  std::string list = "bplist00";
  std::string offsets;
  for (const auto& object : objects) {
    offsets += static_cast<char>(list.size() >> 8);
    offsets += static_cast<char>(list.size() & 0xff);
    list += object;
  }
  const std::size_t table = list.size();
  list += offsets + std::string(6, '\0') + "\x02\x01" + std::string(7, '\0') +
          static_cast<char>(objects.size()) + std::string(8, '\0') + std::string(6, '\0') +
          static_cast<char>(table >> 8) + static_cast<char>(table & 0xff);
  return NSData::copyOf(list);
}

TEST(KeyedArchiveTest, roundTripsEveryKindOfValue) {
  const NSDictionary dictionary{{"text", "grüße €😀"},
                                {"negative", -5},
                                {"least", std::numeric_limits<std::int64_t>::min()},
                                {"most", std::numeric_limits<std::int64_t>::max()},
                                {"yes", true},
                                {"real", 0.1},
                                {"whole", 1.0},
                                {"bytes", NSData::copyOf("a\0b")},
                                {"nothing", NSData()},
                                {"empty", ""},
                                {"list", NSArray{1, "text", NSDictionary{}, NSArray{}}},
                                {"inner", dateDictionary(1.25e-3)},
                                {"$null", "$null"}};
  const auto archive = NSKeyedArchiver::archivedData(dictionary);
  ASSERT_TRUE(archive);
  EXPECT_EQ(NSKeyedUnarchiver::unarchivedDictionary(*archive), dictionary);
}

TEST(KeyedArchiveTest, templatedDatesAreByteForByteWhatTheArchiverWrites) {
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> seconds(-1e9, 1e9);
  std::vector<double> dates{0,     1,       -1,     0.5,      731336829, 731336829.123,
                            1e300, -1e-300, 5e-324, INFINITY, -INFINITY, NAN};
  for (int i = 0; i < 500; ++i) dates.push_back(seconds(random));
  for (int i = 0; i < 100; ++i) dates.push_back(std::floor(seconds(random)));
  for (const double date : dates) {
    const auto archive = NSKeyedArchiver::archivedData(dateDictionary(date));
    ASSERT_TRUE(archive);
    ASSERT_EQ(*archive, ArchiveWriter::archive(dateDictionary(date))) << date;
    const auto back = NSKeyedUnarchiver::unarchivedDictionary(*archive);
    ASSERT_TRUE(back);
    if (!std::isnan(date)) {
      ASSERT_EQ(back->find("date")->asDate()->timeIntervalSinceReferenceDate(), date);
    }
  }
  const NSDictionary otherKey{{"modified", NSDate::sinceReferenceDate(0.1)}};
  EXPECT_EQ(NSKeyedUnarchiver::unarchivedDictionary(*NSKeyedArchiver::archivedData(otherKey)), otherKey);
}

TEST(KeyedArchiveTest, hasThePlatformsLayout) {
  const auto archive = NSKeyedArchiver::archivedData(dateDictionary(0.1));
  const auto tree = propertyListNode(archive->bytes());
  ASSERT_TRUE(tree);
  const auto objects = arrayElements(plist_dict_get_item(tree->get(), "$objects"));
  ASSERT_EQ(objects.size(), 6U);
  const auto uid = [](plist_t object, const char* key) {
    std::uint64_t value = 99;
    plist_t node = plist_dict_get_item(object, key);
    if (plist_get_node_type(node) == PLIST_ARRAY) node = plist_array_get_item(node, 0);
    plist_get_uid_val(node, &value);
    return value;
  };
  EXPECT_EQ(scalarValue(plist_dict_get_item(tree->get(), "$version")), PropertyListValue(100000));
  EXPECT_EQ(uid(plist_dict_get_item(tree->get(), "$top"), "root"), 1U);
  EXPECT_EQ(treeValue(objects[0]), PropertyListValue("$null"));
  EXPECT_EQ(uid(objects[1], "NS.keys"), 2U);
  EXPECT_EQ(uid(objects[1], "NS.objects"), 3U);
  EXPECT_EQ(uid(objects[1], "$class"), 5U);
  EXPECT_EQ(treeValue(objects[2]), PropertyListValue("date"));
  EXPECT_EQ(scalarValue(plist_dict_get_item(objects[3], "NS.time")), PropertyListValue(0.1));
  EXPECT_EQ(uid(objects[3], "$class"), 4U);
  EXPECT_EQ(
      treeValue(objects[4]),
      PropertyListValue(NSDictionary{{"$classname", "NSDate"}, {"$classes", NSArray{"NSDate", "NSObject"}}}));
  EXPECT_EQ(treeValue(objects[5]),
            PropertyListValue(NSDictionary{{"$classname", "NSDictionary"},
                                           {"$classes", NSArray{"NSDictionary", "NSObject"}}}));
}

TEST(KeyedArchiveTest, refusesToArchiveWhatItCouldNotReadBack) {
  PropertyListValue deep = 1;
  for (int i = 0; i < 40; ++i) deep = NSArray{deep};
  EXPECT_FALSE(NSKeyedArchiver::archivedData({{"k", deep}}));
  EXPECT_FALSE(NSKeyedArchiver::archivedData({{"k", "\xff"}}));
  EXPECT_FALSE(NSKeyedArchiver::archivedData({{"k", std::string("a\0b", 3)}}));
  EXPECT_FALSE(
      NSKeyedArchiver::archivedData({{std::string_view("a\0b", 3), NSDate::sinceReferenceDate(0.1)}}));
}

// An XML archive, so that each damage can be read in the test.
std::string archiveText(const std::string& objects, const std::string& root = "1") {
  return "<plist "
         "version=\"1.0\"><dict><key>$archiver</key><string>NSKeyedArchiver</string><key>$top</key><dict>"
         "<key>root</key><dict><key>CF$UID</key><integer>" +
         root + "</integer></dict></dict><key>$objects</key><array><string>$null</string>" + objects +
         "</array></dict></plist>";
}

std::string reference(int uid) {
  return "<dict><key>CF$UID</key><integer>" + std::to_string(uid) + "</integer></dict>";
}

std::string dictionaryObject(const std::string& keys, const std::string& values, int classUid) {
  return "<dict><key>NS.keys</key><array>" + keys + "</array><key>NS.objects</key><array>" + values +
         "</array><key>$class</key>" + reference(classUid) + "</dict>";
}

const std::string kDictionaryClass = "<dict><key>$classname</key><string>NSDictionary</string></dict>";

std::string errorOf(const std::string& text) {
  const auto result = NSKeyedUnarchiver::unarchivedDictionary(NSData::copyOf(text));
  return result ? "accepted " + description(*result) : result.error().localizedDescription();
}

TEST(KeyedArchiveTest, refusesReferencesThatLeadNowhereOrBack) {
  const std::string key = "<string>k</string>";
  const auto refused = [](const std::string& reason) {
    return "The data is not readable as an archive: " + reason + ".";
  };
  EXPECT_EQ(errorOf(archiveText(dictionaryObject(reference(2), reference(2), 3) + key + kDictionaryClass)),
            "accepted {\n    k = k;\n}");
  EXPECT_EQ(errorOf(archiveText(dictionaryObject(reference(2), reference(9), 3) + key + kDictionaryClass)),
            refused("a reference is out of range"));
  EXPECT_EQ(errorOf(archiveText(dictionaryObject(reference(2), reference(1), 3) + key + kDictionaryClass)),
            refused("an object contains itself"));
  EXPECT_EQ(errorOf(archiveText(dictionaryObject(reference(2), "", 3) + key + kDictionaryClass)),
            refused("a dictionary has keys without values"));
  EXPECT_EQ(errorOf(archiveText(dictionaryObject(reference(2), reference(0), 3) + key + kDictionaryClass)),
            refused("an object is not of a permitted kind"));
  EXPECT_EQ(errorOf(archiveText(dictionaryObject(reference(1), reference(2), 3) + key + kDictionaryClass)),
            refused("an object contains itself"));
  EXPECT_EQ(errorOf(archiveText(key)), refused("its root is not a dictionary"));
  EXPECT_EQ(errorOf(archiveText("", "0")), refused("an object is not of a permitted kind"));
}

TEST(KeyedArchiveTest, refusesOtherClasses) {
  const std::string objects =
      dictionaryObject("", "", 2) + "<dict><key>$classname</key><string>NSTask</string></dict>";
  EXPECT_NE(errorOf(archiveText(objects)).find("permitted kind"), std::string::npos);
  EXPECT_FALSE(NSKeyedUnarchiver::unarchivedDictionary(NSData::copyOf("<plist><dict/></plist>")));
}

// Each object holds the one before it twice, so that the whole doubles with every level.
TEST(KeyedArchiveTest, refusesArchivesThatGrowWhenResolved) {
  std::string objects =
      dictionaryObject(reference(2), reference(4), 3) + "<string>k</string>" + kDictionaryClass;
  for (int uid = 4; uid < 50; ++uid) {
    objects += "<dict><key>NS.objects</key><array>" + reference(uid + 1) + reference(uid + 1) +
               "</array><key>$class</key>" + reference(51) + "</dict>";
  }
  objects += "<string>k</string><dict><key>$classname</key><string>NSArray</string></dict>";
  EXPECT_NE(errorOf(archiveText(objects)).find("too much memory"), std::string::npos);
}

TEST(KeyedArchiveTest, refusesBinaryListsThatWouldOverwhelmTheLibrary) {
  EXPECT_TRUE(propertyListNode(binaryList({"\xa1\x01", "\x09"}).bytes()));
  EXPECT_EQ(propertyListNode(binaryList({std::string("\xa1\x00", 2)}).bytes()).error(),
            "an object contains itself");
  EXPECT_EQ(propertyListNode(binaryList({"\xa1\x05"}).bytes()).error(), "a reference is out of range");
  EXPECT_EQ(propertyListNode(binaryList({"\xaf\x10\x7f"}).bytes()).error(), "an object is damaged");
  std::vector<std::string> chain;
  std::vector<std::string> doubling;
  for (int i = 1; i < 200; ++i) chain.push_back({'\xa1', static_cast<char>(i)});
  for (int i = 1; i < 60; ++i) doubling.push_back({'\xa2', static_cast<char>(i), static_cast<char>(i)});
  chain.push_back("\x09");
  doubling.push_back("\x09");
  EXPECT_EQ(propertyListNode(binaryList(chain).bytes()).error(), "it is nested too deeply");
  EXPECT_EQ(propertyListNode(binaryList(doubling).bytes()).error(), "it would take too much memory");
}

TEST(KeyedArchiveTest, survivesEveryCutAndEveryFlippedByte) {
  const auto archive = NSKeyedArchiver::archivedData(
      {{"date", NSDate::sinceReferenceDate(0.1)}, {"list", NSArray{1, "é", NSData::copyOf("xyz")}}});
  ASSERT_TRUE(archive);
  const std::string whole(archive->text());
  EXPECT_FALSE(NSKeyedUnarchiver::unarchivedDictionary(NSData()));
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_FALSE(NSKeyedUnarchiver::unarchivedDictionary(NSData::copyOf(whole.substr(0, length))));
  }
  for (std::size_t i = 0; i < whole.size(); ++i) {
    for (const int flip : {0x01, 0x10, 0x80, 0xff}) {
      std::string damaged = whole;
      damaged[i] = static_cast<char>(damaged[i] ^ flip);
      (void)NSKeyedUnarchiver::unarchivedDictionary(NSData::copyOf(damaged));
    }
  }
  EXPECT_FALSE(
      NSKeyedUnarchiver::unarchivedDictionary(dataOf({0x62, 0x70, 0x6c, 0x69, 0x73, 0x74, 0x30, 0x30})));
}

}  // namespace
}  // namespace zelto
