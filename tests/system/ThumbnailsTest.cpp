#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <unistd.h>

#include "tests/hostapp/Pictures.h"
#include "tests/system/FolderWatch.h"

namespace zelto::test {
namespace {

// Pictures of files that are not here, as file browsers find them in the user's cache.
struct ThumbnailsTest : ::testing::Test {
  TestSystem system;

  static std::string nameOf(int number) { return "picture " + std::to_string(number) + ".jpg"; }
  void serve(int pictures) {
    const std::string bytes = picture("jpeg", 640, 400);
    for (int i = 0; i < pictures; ++i) writeFile(system.share() / nameOf(i), bytes);
    writeFile(system.share() / "text.txt", "no picture");
    system.start();
    names(system.mounted());
  }
  int cached(const char* size) const {
    const fs::path folder = system.data().parent_path() / "cache" / "thumbnails" / size;
    int count = 0;
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(folder, none))
      count += entry.path().extension() == ".png";
    return count;
  }
  void askForOne(int number) {
    const std::vector<BusBytes> path{{(system.mounted() / nameOf(number)).string()}};
    EXPECT_TRUE(system.callManager("Thumbnails", "aay", {path}).has_value());
  }
  // As a program does that wants to make a picture itself.
  void openForPicture(int number) {
    const std::string path = system.mounted() / nameOf(number);
    EXPECT_EQ(::open(path.c_str(), O_RDONLY | O_NOATIME | O_CLOEXEC), -1);
  }
  bool askFor(int pictures) {
    std::vector<BusBytes> paths{{(system.mounted() / "text.txt").string()}};
    for (int i = 0; i < pictures; ++i) paths.push_back({(system.mounted() / nameOf(i)).string()});
    return system.callManager("Thumbnails", "aay", {paths}).has_value();
  }
  void expectNothingFetched() {
    EXPECT_EQ(system.hostCalls("downloadItem"), 0);
    EXPECT_EQ(system.hostCalls("downloadItemRange"), 0);
    EXPECT_EQ(*system.item(system.mounted() / nameOf(0)).find("materialised")->asString(), "none");
  }
};

TEST_F(ThumbnailsTest, AreMadeByTheHostAndNoContentIsFetched) {
  constexpr int kPictures = 40;
  serve(kPictures);
  ASSERT_TRUE(askFor(kPictures));
  EXPECT_EQ(cached("normal"), kPictures);
  EXPECT_EQ(cached("large"), kPictures);
  EXPECT_EQ(system.hostCalls("thumbnail"), kPictures);
  expectNothingFetched();
  ASSERT_TRUE(askFor(kPictures));
  EXPECT_EQ(system.hostCalls("thumbnail"), kPictures);
}

TEST_F(ThumbnailsTest, AProgramThatWantedToMakeOneFindsItSoonAfter) {
  serve(1);
  FolderWatch watch(system.mounted());
  openForPicture(0);
  EXPECT_TRUE(eventually([&] { return cached("large") == 1; }));
  EXPECT_EQ(watch.waitFor(IN_ATTRIB, nameOf(0)), "");
  expectNothingFetched();
}

// Such a program asks for what it shows, and for no more once it shows it no longer.
TEST_F(ThumbnailsTest, AProgramThatAsksIsNotAskedForASecondTime) {
  serve(4);
  askForOne(0);
  askForOne(1);
  openForPicture(2);
  askForOne(3);
  EXPECT_EQ(cached("large"), 3);
  EXPECT_EQ(system.hostCalls("thumbnail"), 3);
}

}  // namespace
}  // namespace zelto::test
