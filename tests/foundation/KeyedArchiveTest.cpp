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

plist_t reference(std::uint64_t uid) { return plist_new_uid(uid); }

plist_t arrayOf(const std::vector<std::uint64_t>& uids) {
  plist_t array = plist_new_array();
  for (const auto uid : uids) plist_array_append_item(array, reference(uid));
  return array;
}

plist_t classRecord(const char* name) {
  plist_t record = plist_new_dict();
  plist_dict_set_item(record, "$classname", plist_new_string(name));
  return record;
}

plist_t arrayObject(const std::vector<std::uint64_t>& values, std::uint64_t classUid) {
  plist_t object = plist_new_dict();
  plist_dict_set_item(object, "NS.objects", arrayOf(values));
  plist_dict_set_item(object, "$class", reference(classUid));
  return object;
}

plist_t dictionaryObject(const std::vector<std::uint64_t>& keys, const std::vector<std::uint64_t>& values,
                         std::uint64_t classUid) {
  plist_t object = arrayObject(values, classUid);
  plist_dict_set_item(object, "NS.keys", arrayOf(keys));
  return object;
}

// What unarchiving says of these objects, numbered from 1.
std::string outcomeOf(const std::vector<plist_t>& objects, std::uint64_t root = 1) {
  const PropertyListNode archive(plist_new_dict());
  plist_t top = plist_new_dict();
  plist_dict_set_item(top, "root", reference(root));
  plist_t all = plist_new_array();
  plist_array_append_item(all, plist_new_string("$null"));
  for (plist_t object : objects) plist_array_append_item(all, object);
  plist_dict_set_item(archive.get(), "$archiver", plist_new_string("NSKeyedArchiver"));
  plist_dict_set_item(archive.get(), "$top", top);
  plist_dict_set_item(archive.get(), "$objects", all);
  char* bytes = nullptr;
  std::uint32_t length = 0;
  plist_to_bin(archive.get(), &bytes, &length);
  const auto result =
      NSKeyedUnarchiver::unarchivedDictionary(NSData::copyOf(std::string_view(bytes, length)));
  plist_to_bin_free(bytes);
  return result ? description(*result) : result.error().localizedDescription();
}

std::string refusal(const std::string& reason) {
  return "The data is not readable as an archive: " + reason + ".";
}

TEST(KeyedArchiveTest, refusesReferencesThatLeadNowhereOrBack) {
  const auto outcome = [](const std::vector<std::uint64_t>& keys, const std::vector<std::uint64_t>& values) {
    return outcomeOf({dictionaryObject(keys, values, 3), plist_new_string("k"), classRecord("NSDictionary")});
  };
  EXPECT_EQ(outcome({2}, {2}), "{\n    k = k;\n}");
  EXPECT_EQ(outcome({2}, {9}), refusal("a reference is out of range"));
  EXPECT_EQ(outcome({2}, {1}), refusal("an object contains itself"));
  EXPECT_EQ(outcome({1}, {2}), refusal("an object contains itself"));
  EXPECT_EQ(outcome({2}, {}), refusal("a dictionary has keys without values"));
  EXPECT_EQ(outcome({2}, {0}), refusal("an object is not of a permitted kind"));
  EXPECT_EQ(outcomeOf({plist_new_string("k")}), refusal("its root is not a dictionary"));
  EXPECT_EQ(outcomeOf({}, 0), refusal("an object is not of a permitted kind"));
  EXPECT_EQ(outcomeOf({}, 1), refusal("a reference is out of range"));
}

TEST(KeyedArchiveTest, readsMutableKindsAndRefusesOtherClasses) {
  EXPECT_EQ(outcomeOf({dictionaryObject({}, {}, 2), classRecord("NSMutableDictionary")}), "{\n}");
  EXPECT_EQ(outcomeOf({dictionaryObject({}, {}, 2), classRecord("NSTask")}),
            refusal("an object is not of a permitted kind"));
  EXPECT_EQ(outcomeOf({dictionaryObject({}, {}, 2), plist_new_string("NSDictionary")}),
            refusal("an object is not of a permitted kind"));
  EXPECT_FALSE(NSKeyedUnarchiver::unarchivedDictionary(NSData::copyOf("<plist><dict/></plist>")));
}

// Each array holds the next one twice, so that the whole doubles with every level.
TEST(KeyedArchiveTest, refusesArchivesThatGrowWhenResolved) {
  std::vector<plist_t> objects{dictionaryObject({2}, {5}, 3), plist_new_string("k"),
                               classRecord("NSDictionary"), classRecord("NSArray")};
  for (std::uint64_t uid = 5; uid < 50; ++uid) objects.push_back(arrayObject({uid + 1, uid + 1}, 4));
  objects.push_back(plist_new_string("end"));
  EXPECT_EQ(outcomeOf(objects), refusal("it would take too much memory"));
}

TEST(KeyedArchiveTest, refusesDeepArchives) {
  std::vector<plist_t> objects{dictionaryObject({2}, {5}, 3), plist_new_string("k"),
                               classRecord("NSDictionary"), classRecord("NSArray")};
  for (std::uint64_t uid = 5; uid < 5000; ++uid) objects.push_back(arrayObject({uid + 1}, 4));
  objects.push_back(plist_new_string("end"));
  EXPECT_EQ(outcomeOf(objects), refusal("it is nested too deeply"));
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
