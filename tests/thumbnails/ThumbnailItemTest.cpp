#include <gtest/gtest.h>

#include "framework/thumbnails/ThumbnailItem.h"

namespace zelto::test {
namespace {

NodeInfo file(std::uint64_t size = 100) { return {.inode = 7, .size = size, .modifiedNs = 1'500'000'000}; }

bool isWorthAsking(const NodeInfo& node, const std::string& path) {
  return thumbnailItem(node, "/id", path).has_value();
}

TEST(ThumbnailItemTest, IsMadeOfImagesByTheirNames) {
  for (const auto* name :
       {"a.png", "a.JPG", "a.b.jpeg", "gr\xc3\xbc\xc3\x9f.webp", "\xe9.tiff", ".hidden.gif"})
    EXPECT_TRUE(isWorthAsking(file(), std::string("/m/") + name)) << name;
  for (const auto* name : {"a.txt", "a.pdf", "png", ".png", "a.png.zip", "a.", "a.unheardof", "image.png/a"})
    EXPECT_FALSE(isWorthAsking(file(), std::string("/m/") + name)) << name;
}

TEST(ThumbnailItemTest, IsMadeOfWhatTheHostHasAsItIsShown) {
  EXPECT_FALSE(isWorthAsking(file(0), "/m/a.png"));
  auto node = file();
  node.local = true;
  EXPECT_FALSE(isWorthAsking(node, "/m/a.png"));
  node = file();
  node.kind = NodeKind::folder;
  EXPECT_FALSE(isWorthAsking(node, "/m/a.png"));
}

TEST(ThumbnailItemTest, HasTheSecondOfTheDateAsStatTellsIt) {
  auto node = file();
  EXPECT_EQ((ThumbnailItem{7, "/id", "/m/a.png", 1, 500'000}), thumbnailItem(node, "/id", "/m/a.png"));
  node.modifiedNs = -1;
  EXPECT_EQ((ThumbnailItem{7, "/id", "/m/a.png", -1, 999'999}), thumbnailItem(node, "/id", "/m/a.png"));
  node.modifiedNs = 1'999'999'999;
  EXPECT_EQ(1, thumbnailItem(node, "/id", "/m/a.png")->modified);
}

}  // namespace
}  // namespace zelto::test
