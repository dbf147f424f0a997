#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/foundation/NSData.h"
#include "platform/foundation/NSDate.h"
#include "platform/foundation/NSError.h"
#include "platform/foundation/NSURL.h"
#include "platform/foundation/Path.h"

namespace zelto {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(NSDateTest, convertsToTheNearestMicrosecondOnBothSidesOfTheReference) {
  for (const std::timespec time : {std::timespec{1709644029, 123'456'000}, std::timespec{0, 999'999'000},
                                   std::timespec{-5, 1'000}, std::timespec{978307199, 999'999'000}}) {
    const std::timespec back = NSDate::fromTimespec(time).timespec();
    EXPECT_EQ(back.tv_sec, time.tv_sec);
    EXPECT_EQ(back.tv_nsec, time.tv_nsec);
  }
  EXPECT_EQ(NSDate::since1970(0.9999999).timespec().tv_sec, 1) << "rounding carries into the seconds";
}

TEST(NSDateTest, clampsDatesOutsideTheSystemsRange) {
  using Limits = std::numeric_limits<std::time_t>;
  EXPECT_EQ(NSDate::sinceReferenceDate(INFINITY).timespec().tv_sec, Limits::max());
  EXPECT_EQ(NSDate::sinceReferenceDate(-1e300).timespec().tv_sec, Limits::min());
  EXPECT_EQ(NSDate::sinceReferenceDate(NAN).timespec().tv_sec, 0);
  EXPECT_LT(NSDate::fromTimespec({Limits::min(), 0}), NSDate::fromTimespec({Limits::max(), 0}));
}

TEST(NSDataTest, sharesItsBytesAndKeepsTheOwnerOfAView) {
  const NSData data = NSData::copyOf("abc");
  const NSData copy = data;
  EXPECT_EQ(copy.bytes().data(), data.bytes().data());
  EXPECT_EQ(copy, NSData::copyOf("abc"));
  EXPECT_FALSE(copy == NSData::copyOf("abd"));

  auto owner = std::make_shared<std::string>("mapped");
  const std::weak_ptr<std::string> watch = owner;
  NSData view = NSData::view(owner, std::as_bytes(std::span(*owner)));
  owner.reset();
  EXPECT_EQ(NSData(view).text(), "mapped");
  view = NSData();
  EXPECT_TRUE(watch.expired());
}

TEST(PathTest, splitsIntoComponents) {
  EXPECT_THAT(pathComponents("/a//b/"), ElementsAre("/", "a", "b"));
  EXPECT_THAT(pathComponents("a/b"), ElementsAre("a", "b"));
  EXPECT_THAT(pathComponents("//"), ElementsAre("/"));
  EXPECT_THAT(pathComponents(""), IsEmpty());
}

TEST(PathTest, dropsAndAppendsComponents) {
  EXPECT_EQ(stringByDeletingLastPathComponent("/A/B"), "/A");
  EXPECT_EQ(stringByDeletingLastPathComponent("/A//B/"), "/A");
  EXPECT_EQ(stringByDeletingLastPathComponent("/A"), "/");
  EXPECT_EQ(stringByDeletingLastPathComponent("A"), "");
  EXPECT_EQ(stringByDeletingLastPathComponent("/"), "/");
  EXPECT_EQ(stringByAppendingPathComponent("/a/", "/b/"), "/a/b");
  EXPECT_EQ(stringByAppendingPathComponent("/", "b"), "/b");
  EXPECT_EQ(stringByAppendingPathComponent("", "b"), "b");
  EXPECT_EQ(stringByAppendingPathComponent("/a", ""), "/a");
  EXPECT_EQ(stringByAppendingPathComponent("/a", "/"), "/a");
}

TEST(PathTest, findsNameAndExtension) {
  EXPECT_EQ(lastPathComponent("/a/b//"), "b");
  EXPECT_EQ(lastPathComponent("/"), "/");
  EXPECT_EQ(pathExtension("/a.b/c"), "");
  EXPECT_EQ(pathExtension("/a/c.tar.gz/"), "gz");
  EXPECT_EQ(pathExtension(".hidden"), "");
  EXPECT_EQ(pathExtension("name."), "");
}

TEST(NSURLTest, roundTripsAnyPath) {
  for (const std::string path : {"/", "/a b/ü%2F#?&;=", "/bytes/\xff\xfe", "/new\nline"}) {
    const std::string text = NSURL::fileURL(path).absoluteString();
    const auto url = NSURL::fromString(text);
    ASSERT_TRUE(url) << text;
    EXPECT_EQ(url->path(), path);
  }
  EXPECT_EQ(NSURL::fileURL("/a b/ü").absoluteString(), "file:///a%20b/%C3%BC");
  EXPECT_EQ(NSURL::fileURL("/a").appendingPathComponent("b").path(), "/a/b");
}

TEST(NSURLTest, readsFileUrlsOfThisMachineOnly) {
  EXPECT_EQ(NSURL::fromString("FILE://localhost/a/")->path(), "/a");
  EXPECT_EQ(NSURL::fromString("file:/a")->path(), "/a");
  for (const char* text : {"", "/a", "file", "file:a", "http://localhost/a", "file://other/a", "file:///a?b",
                           "file:///a#b", "file:///a%2Fb", "file:///a%00b", "file:///a b", "file:///%",
                           "file://u@localhost/a", "file://localhost:1/a", "file://", "file:///\xc3\xbc"}) {
    EXPECT_FALSE(NSURL::fromString(text)) << text;
  }
}

TEST(NSErrorTest, describesItself) {
  const NSError error = errorWithPOSIXCode(14, "Bad thing");
  EXPECT_EQ(error.domain(), NSPOSIXErrorDomain);
  EXPECT_EQ(
      description(error),
      "Error Domain=NSPOSIXErrorDomain Code=14 \"Bad thing\" UserInfo={NSLocalizedDescription=Bad thing}");
  EXPECT_EQ(NSError("D", 7).localizedDescription(), "The operation couldn’t be completed. (D error 7.)");
  EXPECT_EQ(NSError("D", 7, {{NSLocalizedDescriptionKey, 1}}).localizedDescription(),
            NSError("D", 7).localizedDescription());
}

}  // namespace
}  // namespace zelto
