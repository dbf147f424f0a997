#include <gtest/gtest.h>

#include "cli/PendingTable.h"
#include "cli/UploadTally.h"
#include "platform/foundation/NSJSONSerialization.h"

namespace zelto::cli {
namespace {

NSArray changes(const std::string& json) {
  const auto parsed = NSJSONSerialization::valueWithString(json);
  return parsed && parsed->asArray() != nullptr ? *parsed->asArray() : NSArray();
}

constexpr const char* kChanges = R"([
  {"path": "/m/share/Übung.txt", "kind": "create", "state": "uploading", "reason": "", "completed": 512,
   "total": 1024, "attempts": 0, "since": 0},
  {"path": "/m/x", "kind": "remove", "state": "failed", "reason": "the\u001b[31m disk is full", "completed": 0,
   "total": 0, "attempts": 3, "since": 60},
  {"path": "/m/lock", "kind": "create", "state": "local", "reason": "", "completed": 0, "total": 9,
   "attempts": 0, "since": 60},
  7, {}
])";

TEST(PendingTable, HasAColumnForEachThingAndNoControlCharacters) {
  ::setenv("TZ", "UTC", 1);
  ::tzset();
  EXPECT_EQ(
      "STATE      KIND                 SIZE  SINCE             PATH                REASON\n"
      "uploading  create    50 % of 1.0 KiB  1970-01-01 00:00  /m/share/Übung.txt\n"
      "failed     remove                     1970-01-01 00:01  /m/x                the?[31m disk is full\n"
      "local      create                9 B  1970-01-01 00:01  /m/lock\n"
      "                                      1970-01-01 00:00\n",
      pendingTable(changes(kChanges)));
  EXPECT_EQ("", pendingTable({}));
  EXPECT_EQ("/m/x: the?[31m disk is full\n/m/y: not taken by the server\n",
            failureList(
                changes(R"([{"path": "/m/x", "reason": "the\u001b[31m disk is full"}, {"path": "/m/y"}])")));
}

TEST(UploadTally, CountsWhatIsWaitedFor) {
  UploadTally tally(changes(kChanges));
  EXPECT_EQ(2U, tally.left()) << "neither failures nor what stays local";
  EXPECT_EQ("2 left, 512 B of 1.0 KiB sent", tally.text());
  tally.uploaded("/m/share/Übung.txt", 2048, 1024);
  tally.uploaded("/m/new", 0, 1024);
  tally.countsChanged(4, 1);
  EXPECT_EQ(5U, tally.all());
  tally.countsChanged(1, 0);
  EXPECT_EQ(5U, tally.all());
  EXPECT_EQ("1 left, 1.0 KiB of 2.0 KiB sent", tally.text());
  EXPECT_EQ("0 left", UploadTally({}).text());
}

}  // namespace
}  // namespace zelto::cli
