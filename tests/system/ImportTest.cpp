#include <algorithm>
#include <filesystem>
#include <fstream>
#include <mutex>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/bus/ManagerInterface.h"
#include "tests/system/TestSystem.h"

namespace zelto::test {
namespace {

using testing::HasSubstr;

struct Progress {
  std::uint64_t ticket = 0, completed = 0, total = 0, entries = 0, allEntries = 0;
  bool finished = false;
  std::string message = {}, error = {};
};

// A folder outside, and imports of it.
class ImportTest : public testing::Test {
 protected:
  ImportTest() {
    std::string pattern = (fs::temp_directory_path() / "zelto-outside-XXXXXX").string();
    outside_ = ::mkdtemp(pattern.data());
    heard_ = system_.bus().matchSignal(
        manager::objectPath("test"), std::string(manager::kInterface), "ImportProgress",
        [this](const std::string&, BusArguments arguments) { hear(arguments); });
  }
  ~ImportTest() override {
    heard_.reset();
    fs::remove_all(outside_);
  }

  fs::path source() const { return outside_ / "tree"; }
  fs::path imported() const { return system_.share() / "tree"; }
  // So many files in folders of twenty, some of them nested, and an empty folder.
  void makeTree(int files) const {
    for (int file = 0; file < files; ++file) {
      const std::string folder = "folder " + std::to_string(file / 20) + (file % 3 == 0 ? "/Ü below" : "");
      writeFile(source() / folder / ("file" + std::to_string(file)), std::string(file % 977, 'x'));
    }
    fs::create_directories(source() / "empty");
    writeFile(source() / "a file.app", "not a folder");
  }

  std::expected<BusArguments, NSError> begin(const fs::path& from, const fs::path& to) {
    return system_.callManager("Import", "ayay", {BusBytes{from.string()}, BusBytes{to.string()}});
  }
  std::uint64_t begin() {
    const auto reply = begin(source(), system_.mounted());
    EXPECT_TRUE(reply) << (reply ? "" : reply.error().localizedDescription());
    return reply ? std::get<std::uint64_t>(reply->at(0)) : 0;
  }
  // The last report of an import; its error says what is wrong when there is none in time.
  Progress finish(std::uint64_t ticket) {
    Progress last{.error = "no end"};
    EXPECT_TRUE(eventually(
        [&] {
          const std::lock_guard lock(mutex_);
          const auto end = std::ranges::find_if(reports_, [ticket](const Progress& report) {
            return report.ticket == ticket && report.finished;
          });
          if (end == reports_.end()) return false;
          last = *end;
          return true;
        },
        std::chrono::seconds(60)));
    return last;
  }
  bool hasArrived(std::uint64_t ticket, std::uint64_t entries) {
    return eventually([&] {
      const std::lock_guard lock(mutex_);
      return std::ranges::any_of(reports_, [&](const Progress& report) {
        return report.ticket == ticket && report.entries >= entries;
      });
    });
  }
  void expectEverythingThere() {
    EXPECT_EQ(treeDifference(source(), imported()), "");
    EXPECT_EQ(treeDifference(source(), system_.mounted() / "tree"), "");
  }
  // What an import that has left its process's extension useless would break.
  void expectFoldersCanBeMade(const std::string& name) {
    EXPECT_TRUE(fs::create_directory(system_.mounted() / name));
    EXPECT_TRUE(eventually([&] { return fs::is_directory(system_.share() / name); }));
    ASSERT_TRUE(system_.callManager("Wait", "", {}));
    EXPECT_TRUE(eventually([&] { return system_.status().find("pending")->integerValue() == 0; }));
  }
  // Of this extension: processes that import for it, and what they leave.
  void expectNothingLeft() {
    for (const auto& process : fs::directory_iterator("/proc")) {
      const std::string arguments = readFile(process.path() / "cmdline");
      EXPECT_FALSE(arguments.contains("--import") && arguments.contains(outside_.string())) << arguments;
    }
    std::error_code error;
    for (fs::recursive_directory_iterator at(system_.data() / "groups", error), end; !error && at != end;
         at.increment(error)) {
      EXPECT_FALSE(at->path().filename().string().starts_with("import")) << at->path();
    }
  }

  TestSystem system_;
  fs::path outside_;

 private:
  void hear(const BusArguments& arguments) {
    const auto number = [&arguments](std::size_t index) {
      return std::get<std::uint64_t>(arguments.at(index));
    };
    const std::lock_guard lock(mutex_);
    reports_.push_back({number(0), number(1), number(2), number(3), number(4),
                        std::get<bool>(arguments.at(5)), std::get<std::string>(arguments.at(6)),
                        std::get<std::string>(arguments.at(7))});
  }

  std::mutex mutex_;
  std::vector<Progress> reports_;
  std::shared_ptr<void> heard_;
};

// Several times, since the extension's walk may end or stand still, as it happens; either way all is there.
TEST_F(ImportTest, ATreeArrivesWholeAndFoldersCanBeMadeAfterwards) {
  makeTree(400);
  fs::create_symlink("nowhere", source() / "link");
  system_.start();
  for (int round = 0; round < 3; ++round) {
    const Progress end = finish(begin());
    EXPECT_EQ(end.error, "");
    EXPECT_EQ(end.entries, end.allEntries);
    EXPECT_EQ(end.completed, end.total);
    EXPECT_EQ(fs::file_size(imported() / "link"), 0U);
    EXPECT_TRUE(fs::is_regular_file(system_.mounted() / "tree/link"));
    fs::remove(source() / "link");
    fs::remove(system_.mounted() / "tree/link");
    ASSERT_TRUE(system_.callManager("Wait", "", {}));
    expectEverythingThere();
    expectFoldersCanBeMade("made " + std::to_string(round));
    expectNothingLeft();
    fs::create_symlink("nowhere", source() / "link");
    fs::remove_all(imported());
    ASSERT_TRUE(eventually([&] { return !fs::exists(system_.mounted() / "tree"); }));
  }
}

// Either the walk never hears of the entry at which the host is killed, or it stood still before, and the
// entries that were being sent singly are without an answer.
TEST_F(ImportTest, AHostThatIsKilledMeanwhileIsWaitedFor) {
  makeTree(300);
  ::setenv("ZELTO_KILL_POINT", "upload.renamed:40", 1);
  system_.start();
  ::unsetenv("ZELTO_KILL_POINT");
  const std::uint64_t ticket = begin();
  ASSERT_TRUE(system_.host().waitForEnd(std::chrono::seconds(30)));
  system_.startHost();
  EXPECT_EQ(finish(ticket).error, "");
  system_.waitUntilConnected();
  expectEverythingThere();
  expectFoldersCanBeMade("made");
  expectNothingLeft();
}

TEST_F(ImportTest, AnErrorInTheMiddleNamesTheEntryAndTheNextImportGoesOn) {
  makeTree(100);
  writeFile(source() / "folder 2/occupied/file", "x");
  system_.start();
  // Somebody else has a file where a folder is to be.
  writeFile(imported() / "folder 2/occupied", "of somebody else");
  ASSERT_TRUE(eventually([&] { return fs::exists(system_.mounted() / "tree/folder 2/occupied"); }));
  EXPECT_THAT(finish(begin()).error, HasSubstr("folder 2/occupied"));
  EXPECT_EQ(readFile(imported() / "folder 2/occupied"), "of somebody else");
  EXPECT_TRUE(fs::exists(imported() / "folder 0/file1"));
  fs::remove(imported() / "folder 2/occupied");
  const auto uploads = system_.hostCalls("uploadFile");
  EXPECT_EQ(finish(begin()).error, "");
  EXPECT_EQ(system_.hostCalls("uploadFile"), uploads + 1) << "only what was missing is sent";
  expectEverythingThere();
  expectNothingLeft();
}

TEST_F(ImportTest, AStoppedImportLeavesWhatArrivedAndTheNextGoesOn) {
  makeTree(300);
  system_.start();
  // So that it goes singly, and counts each entry.
  fs::create_directory(imported());
  ASSERT_TRUE(eventually([&] { return fs::exists(system_.mounted() / "tree"); }));
  const std::uint64_t ticket = begin();
  EXPECT_FALSE(begin(source(), system_.mounted())) << "one at a time";
  ASSERT_TRUE(hasArrived(ticket, 20));
  ASSERT_TRUE(system_.callManager("CancelImport", "t", {ticket}));
  finish(ticket);
  expectNothingLeft();
  EXPECT_TRUE(fs::exists(imported() / "folder 0"));
  EXPECT_EQ(finish(begin()).error, "");
  expectEverythingThere();
  expectFoldersCanBeMade("made");
}

TEST_F(ImportTest, WhatCannotBeImportedIsRefused) {
  makeTree(1);
  fs::create_directories(system_.share() / "folder");
  system_.start();
  const auto refused = [this](const fs::path& from, const fs::path& to) {
    const auto reply = begin(from, to);
    return reply ? std::int64_t{0} : reply.error().code();
  };
  EXPECT_EQ(refused(system_.mounted() / "folder", system_.mounted()), EINVAL);
  EXPECT_EQ(refused(system_.mount().parent_path(), system_.mounted()), EINVAL);
  EXPECT_EQ(refused("/", system_.mounted()), EINVAL);
  EXPECT_EQ(refused("relative", system_.mounted()), EINVAL);
  EXPECT_EQ(refused(source(), "/usr"), EXDEV);
  EXPECT_EQ(refused(source(), system_.mounted() / "missing"), ENOENT);
  EXPECT_EQ(refused(source(), system_.mount()), EACCES);
  EXPECT_THAT(finish(std::get<std::uint64_t>(begin(outside_ / "gone", system_.mounted())->at(0))).error,
              HasSubstr("gone: No such file"));
  system_.host().kill(SIGTERM);
  ASSERT_TRUE(eventually([&] { return refused(source(), system_.mounted()) == EHOSTDOWN; }));
  expectNothingLeft();
}

}  // namespace
}  // namespace zelto::test
