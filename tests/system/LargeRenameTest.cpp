#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/foundation/UniqueDescriptor.h"
#include "tests/system/Chances.h"
#include "tests/system/Settled.h"
#include "tests/system/Workload.h"

namespace zelto::test {
namespace {

constexpr unsigned kFolders = 20;

// A folder with much in it, of every kind that a file can be in, is given another name and place.
struct LargeRenameTest : ::testing::Test {
  struct Opened {
    UniqueDescriptor file;
    std::string path, content;
  };

  const unsigned files = numberFromEnvironment("ZELTO_TEST_COUNT", 500);
  TestSystem system;
  FileTree expected;  // on the whole share
  std::vector<Opened> readers, writers;

  static std::string pathOf(unsigned number) {
    return "tree/inner " + std::to_string(number % kFolders) + "/" + std::to_string(number);
  }
  fs::path mounted(const std::string& path) const { return system.mounted() / path; }

  void serve() {
    for (unsigned number = 0; number < files; ++number)
      writeFile(system.share() / pathOf(number), "from the server, " + std::to_string(number));
    fs::create_directory(system.share() / "place");
    expected = *readFileTree(system.share());
  }

  // Lists all, brings a third of it here, and keeps some open.
  void learn() {
    system.start();
    EXPECT_TRUE(names(mounted("place")).empty());
    for (unsigned folder = 0; folder < kFolders; ++folder)
      EXPECT_FALSE(names(mounted("tree/inner " + std::to_string(folder))).empty());
    for (unsigned number = 0; number < files; number += 3)
      EXPECT_EQ(readFile(mounted(pathOf(number))), *expected[pathOf(number)]);
    for (unsigned number = 7; number < files; number += 50) open(readers, number, O_RDONLY);
    for (unsigned number = 9; number < files; number += 50) open(writers, number, O_RDWR);
  }
  void open(std::vector<Opened>& to, unsigned number, int flags) {
    UniqueDescriptor file(::open(mounted(pathOf(number)).c_str(), flags | O_CLOEXEC));
    ASSERT_TRUE(file) << errno;
    to.push_back({std::move(file), pathOf(number), *expected[pathOf(number)]});
  }

  // Writes, makes, removes and renames some; those that are open are written to the first time.
  void change() {
    for (unsigned number = 2; number < files; number += 10) put(pathOf(number), "changed here");
    for (unsigned number = 4; number < files; number += 20) put(pathOf(number) + " new", "made here");
    for (unsigned number = 6; number < files; number += 100) {
      EXPECT_TRUE(fs::remove(mounted(pathOf(number))));
      expected.erase(pathOf(number));
    }
    for (unsigned number = 8; number < files; number += 100) move(pathOf(number), pathOf(number) + " moved");
    appendByHandle(" begun");
  }
  void put(const std::string& path, const std::string& content) {
    writeFile(mounted(path), content);
    expected[path] = content;
  }
  void move(const std::string& from, const std::string& to) {
    EXPECT_EQ(::rename(mounted(from).c_str(), mounted(to).c_str()), 0) << errno;
    movePath(expected, from, to);
  }
  void appendByHandle(const std::string& text) {
    for (Opened& each : writers) {
      const auto end = static_cast<off_t>(each.content.size());
      EXPECT_EQ(::pwrite(each.file.get(), text.data(), text.size(), end), static_cast<ssize_t>(text.size()));
      each.content += text;
    }
  }

  // Twice, the second time into another folder, and goes on with what is open.
  void moveAll() {
    move("tree", "renamed");
    EXPECT_EQ(names(system.mounted()), (std::vector<std::string>{"place", "renamed"}));
    move("renamed", "place/tree");
    EXPECT_FALSE(fs::exists(mounted("tree")) || fs::exists(mounted("renamed")));
    appendByHandle(" and ended");
    for (const Opened& each : writers) expected["place/" + each.path] = each.content;
    for (const Opened& each : readers) {
      std::string content(100, '\0');
      const ssize_t count = ::pread(each.file.get(), content.data(), content.size(), 0);
      EXPECT_EQ(content.substr(0, static_cast<std::size_t>(count)), each.content) << each.path;
    }
    readers.clear();
    writers.clear();
  }

  // Without the usual rest, and without waiting for it.
  std::jthread sendAll() {
    return std::jthread([this] { static_cast<void>(system.callManager("Wait", "", {})); });
  }

  void expectAllArrived() {
    EXPECT_EQ(waitUntilSettled(system), "");
    EXPECT_EQ(differenceOf(expected, *readFileTree(system.share())), "") << "on the server";
    EXPECT_EQ(differenceOf(expected, *readFileTree(system.mounted())), "") << "in the mount";
    EXPECT_EQ(strayFiles(system), "");
    EXPECT_EQ(countOf(system, "conflicts"), 0) << system.extensionErrors();
  }
};

TEST_F(LargeRenameTest, WhileItIsBeingSent) {
  serve();
  learn();
  change();
  const auto sending = sendAll();
  moveAll();
  expectAllArrived();
}

// What is on its way has the old name, and is carried out under it after the rename.
TEST_F(LargeRenameTest, WhileTheHostStandsStillWithSomeOfIt) {
  serve();
  learn();
  system.host().signal(SIGSTOP);
  change();
  const auto sending = sendAll();
  EXPECT_TRUE(eventually([&] { return countOf(system, "uploading") > 0; }));
  moveAll();
  system.host().signal(SIGCONT);
  expectAllArrived();
}

}  // namespace
}  // namespace zelto::test
