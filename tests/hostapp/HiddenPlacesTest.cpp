#include <algorithm>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include "hostapp/HiddenPlaces.h"
#include "hostapp/LocalFolderBackend.h"
#include "tests/hostapp/ServerFolder.h"

namespace zelto::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kLeft = "/.zelto-upload-0E8B9C1A-37D2-4E0B-9F7C-5E2F1B7A9D11";
constexpr const char* kHeld = "/.zelto-upload-1E8B9C1A-37D2-4E0B-9F7C-5E2F1B7A9D11";

class HiddenPlacesTest : public ::testing::Test {
 protected:
  std::shared_ptr<HiddenPlaces> open() const { return std::make_shared<HiddenPlaces>(path()); }
  std::string path() const { return server.own("hidden"); }
  void append(std::string_view bytes) const {
    std::ofstream(path(), std::ios::binary | std::ios::app).write(bytes.data(), std::ssize(bytes));
  }

  ServerFolder server;
};

TEST_F(HiddenPlacesTest, WhatIsNotedOutlivesAKillUntilItIsCleaned) {
  open()->note("share/b");
  const auto second = open();
  for (const char* folder : {"share/a", "share/two\nlines", "share/a", ""}) second->note(folder);
  EXPECT_THAT(second->earlier(), ElementsAre("share/b")) << "of an earlier run only";
  EXPECT_EQ(std::string("share/b\0share/a\0share/two\nlines\0\0", 33), contentOf(path()));
  const auto third = open();
  EXPECT_THAT(third->earlier(), ElementsAre("", "share/a", "share/b", "share/two\nlines"));
  third->note("share/new");
  third->cleaned({"share/b"});
  third->note("share/new");
  third->note("share/newer");
  EXPECT_THAT(open()->earlier(), ElementsAre("share/b", "share/new", "share/newer"));
  third->end();
  const auto last = open();
  EXPECT_THAT(last->earlier(), ElementsAre("share/b"));
  last->cleaned({});
  EXPECT_EQ("", contentOf(path()));
}

TEST_F(HiddenPlacesTest, WhatIsMovedIsFoundInEitherPlaceAfterAKill) {
  open()->note("share/a/earlier");
  server.folder("share/a/b");
  const auto places = open();
  const auto backend = *LocalFolderBackend::serving(server.root(), places);
  for (const char* folder : {"share/a", "share/a/b", "share/ab"}) places->note(folder);
  ASSERT_TRUE(backend->move("share/a", "share/new"));
  EXPECT_THAT(open()->earlier(), ElementsAre("share/a", "share/a/b", "share/a/earlier", "share/ab",
                                             "share/new", "share/new/b", "share/new/earlier"));
}

// Folders that go in and out of each other: what is noted does not grow with what has been moved.
TEST_F(HiddenPlacesTest, MovesToAndFroDoNotAddUp) {
  for (const char* folder : {"share/a/x", "share/b"}) server.folder(folder);
  const auto places = open();
  const auto backend = *LocalFolderBackend::serving(server.root(), places);
  constexpr std::pair<const char*, const char*> kMoves[] = {
      {"share/a", "share/b/a"}, {"share/b/a", "share/a"}, {"share/b", "share/a/b"}, {"share/a/b", "share/b"}};
  for (int round = 0; round < 2000; ++round) {
    for (const char* folder : {"share/a", "share/a/x", "share/b"}) places->note(folder);
    for (const auto& [from, to] : kMoves) ASSERT_TRUE(backend->move(from, to));
  }
  EXPECT_LT(contentOf(path()).size(), std::size_t{2} << 20);
  EXPECT_LT(open()->earlier().size(), 10U);
}

TEST_F(HiddenPlacesTest, ARecordThatIsCutShortIsLostAlone) {
  open()->note("share/whole");
  append("share/ha");
  open()->note("share/next");
  EXPECT_THAT(open()->earlier(), ElementsAre("share/next", "share/whole"));
  std::filesystem::remove(path());
  std::filesystem::create_directory(path());
  const auto useless = open();
  useless->note("share/a");
  useless->end();
  EXPECT_THAT(useless->earlier(), IsEmpty());
  std::filesystem::remove(path());
  append("");
  std::filesystem::resize_file(path(), std::uintmax_t{1} << 40);
  EXPECT_THAT(open()->earlier(), IsEmpty());
}

TEST_F(HiddenPlacesTest, OnlyWhatNobodyHoldsIsRemovedAndOnlyOnTheServer) {
  for (const char* folder : {"share/deep", "share/other"}) server.write(folder + std::string(kLeft), "half");
  server.write("share/deep" + std::string(kHeld), "half");
  server.write("share/deep" + std::string(kLeft) + "2", "a file like any other");
  std::filesystem::create_directory(server.own("outside"));
  std::ofstream(server.own("outside") + kLeft) << "x";
  ASSERT_EQ(0, ::symlink(server.own("outside").c_str(), server.path("share/link").c_str()));
  for (const char* folder :
       {"share/deep", "share/gone", "../outside", "/", "share/link", "share//", "share/\xff"}) {
    append(folder + std::string(1, '\0'));
  }
  const int held = ::open(server.path("share/deep" + std::string(kHeld)).c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(0, ::flock(held, LOCK_EX));
  (*LocalFolderBackend::serving(server.root(), open()))->removeWhatWasLeft();
  EXPECT_FALSE(std::filesystem::exists(server.path("share/deep") + kLeft));
  EXPECT_TRUE(std::filesystem::exists(server.path("share/deep") + kHeld));
  EXPECT_TRUE(std::filesystem::exists(server.path("share/deep") + kLeft + "2"));
  EXPECT_TRUE(std::filesystem::exists(server.path("share/other") + kLeft)) << "not noted, so not looked at";
  EXPECT_TRUE(std::filesystem::exists(server.own("outside") + kLeft));
  EXPECT_EQ("", contentOf(path()));
  ::close(held);
}

}  // namespace
}  // namespace zelto::test
