#include <algorithm>

#include <gtest/gtest.h>

#include "cli/SampleTree.h"
#include "tests/cli/TemporaryHome.h"

namespace zelto::cli {
namespace {

namespace fs = std::filesystem;

TEST(SampleTree, HasSomethingOfEveryKind) {
  const test::TemporaryHome home;
  ASSERT_TRUE(makeSampleTree(sampleFolder()));
  int folders = 0, files = 0, links = 0, foreign = 0;
  for (const auto& entry : fs::recursive_directory_iterator(sampleFolder())) {
    links += entry.is_symlink() ? 1 : 0;
    folders += entry.is_directory() && !entry.is_symlink() ? 1 : 0;
    files += entry.is_regular_file() && !entry.is_symlink() ? 1 : 0;
    const std::string name = entry.path().filename();
    foreign +=
        std::ranges::any_of(name, [](char c) { return static_cast<unsigned char>(c) >= 0x80; }) ? 1 : 0;
  }
  EXPECT_GE(folders, 5);
  EXPECT_GE(files, 10);
  EXPECT_EQ(1, links);
  EXPECT_GE(foreign, 3);
  EXPECT_EQ(3, std::distance(fs::directory_iterator(sampleFolder()), {})) << "the shares";
  EXPECT_TRUE(fs::exists(fs::path(sampleFolder()) / "Documents/Latest report")) << "the link leads somewhere";

  const std::string picture = test::contentOf(sampleFolder() + "/Pictures/Sunset.bmp");
  ASSERT_GE(picture.size(), 54U);
  EXPECT_EQ("BM", picture.substr(0, 2));
  const auto* bytes = reinterpret_cast<const unsigned char*>(picture.data());
  EXPECT_EQ(picture.size(), bytes[2] | bytes[3] << 8U | bytes[4] << 16U);

  const std::string big = test::contentOf(sampleFolder() + "/Documents/Big.dat");
  ASSERT_EQ(8U << 20U, big.size());
  EXPECT_EQ("000006553600 ", big.substr(6553600, 13)) << "a line starts at its own offset";
}

TEST(SampleTree, StaysAsTheUserLeftIt) {
  const test::TemporaryHome home;
  ASSERT_TRUE(makeSampleTree(sampleFolder()));
  test::writeText(sampleFolder() + "/Documents/Welcome.txt", "mine");
  fs::remove_all(sampleFolder() + "/Pictures");
  ASSERT_TRUE(makeSampleTree(sampleFolder()));
  EXPECT_EQ("mine", test::contentOf(sampleFolder() + "/Documents/Welcome.txt"));
  EXPECT_FALSE(fs::exists(sampleFolder() + "/Pictures"));
}

TEST(SampleTree, IsWholeOrNotThere) {
  const test::TemporaryHome home;
  test::writeText(sampleFolder() + ".new/half", "of an interrupted run");
  ASSERT_TRUE(makeSampleTree(sampleFolder()));
  EXPECT_FALSE(fs::exists(sampleFolder() + ".new"));
  EXPECT_FALSE(fs::exists(sampleFolder() + "/half"));

  test::writeText(home / "file", "");
  const auto impossible = makeSampleTree(home / "file/sample");
  ASSERT_FALSE(impossible);
  EXPECT_NE(std::string::npos, impossible.error().message.find("ZELTO_DATA_HOME"));
}

}  // namespace
}  // namespace zelto::cli
