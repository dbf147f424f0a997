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
  const std::string path = system.mounted() / nameOf(0);
  EXPECT_EQ(::open(path.c_str(), O_RDONLY | O_NOATIME | O_CLOEXEC), -1);
  EXPECT_TRUE(eventually([&] { return cached("large") == 1; }));
  EXPECT_EQ(watch.waitFor(IN_ATTRIB, nameOf(0)), "");
  expectNothingFetched();
}

}  // namespace
}  // namespace zelto::test
