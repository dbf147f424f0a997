#include <random>

#include "platform/imaging/IconFile.h"
#include "platform/imaging/NSGraphicsContext.h"
#include "platform/imaging/NSImage.h"
#include "support/ImageUtils.h"
#include "tests/extension/Fixture.h"

namespace zelto::test {
namespace {

std::string bigEndian(std::size_t number) {
  std::string text;
  for (const int shift : {24, 16, 8, 0}) text += static_cast<char>(number >> shift & 0xFF);
  return text;
}

std::string element(const std::string& type, const std::string& data) {
  return type + bigEndian(data.size() + 8) + data;
}

std::string iconFile(const std::string& elements) {
  return "icns" + bigEndian(elements.size() + 8) + elements;
}

std::string png(double side, NSColor color) {
  const auto rep = NSImageRep::bitmap({side, side}, 1, [&](NSGraphicsContext& context) {
    context.fillRect({0, 0}, {side, side}, color);
  });
  return rep->PNGRepresentation().value();
}

// So many pixels of one value, as runs of at most 130.
std::string runs(std::size_t pixels, char value) {
  std::string text;
  for (std::size_t left = pixels; left > 0;) {
    // A run is at least three long.
    const auto run = left > 130 && left < 133 ? left - 3 : std::min<std::size_t>(left, 130);
    text += {static_cast<char>(run + 125), value};
    left -= run;
  }
  return text;
}

// 16 pixels a side, orange, the mask half transparent.
std::string oldPicture() {
  return element("is32", runs(256, '\xff') + runs(256, '\x80') + runs(256, '\0')) +
         element("s8mk", std::string(256, '\x80'));
}

const std::string& wholeFile() {
  static const std::string file =
      iconFile(element("TOC ", "12345678") + element("ic07", png(128, {0, 1, 0, 1})) + oldPicture() +
               element("icp5", png(32, {1, 0, 0, 1})) + element("ic11", png(32, {0, 0, 1, 1})) +
               element("ic08", "\x00\x00\x00\x0cjP  no PNG") + element("info", "bplist"));
  return file;
}

class ImageFileTest : public ExtensionFixture {
 protected:
  std::expected<NSImagePtr, NSError> open(const std::string& content) {
    const auto path = dataFolder() + "/picture";
    writeFile(path, content);
    return NSImage::imageWithContentsOfFile(path);
  }
};

TEST_F(ImageFileTest, AnIconFileHasAllItsPicturesInOrder) {
  const auto icon = open(wholeFile());
  ASSERT_TRUE(icon);
  std::vector<int> sides;
  for (const auto& rep : (*icon)->representations()) sides.push_back(rep.pixelsWide());
  EXPECT_EQ((std::vector{128, 16, 32, 32}), sides);
  EXPECT_EQ((NSSize{128, 128}), (*icon)->size());
  EXPECT_EQ((NSColor{1, 0, 0, 1}),
            extractImageOfSize({32, 32}, *icon)->representations().at(0).colorAt(9, 9));
  const auto old = extractImageOfSize({16, 16}, *icon)->representations().at(0).colorAt(15, 15);
  EXPECT_NEAR(1, old.red, 0.01);
  EXPECT_NEAR(0.5, old.green, 0.01);
  EXPECT_NEAR(0, old.blue, 0.01);
  EXPECT_NEAR(0.5, old.alpha, 0.01);
  EXPECT_FALSE(extractImageOfSize({64, 64}, *icon));
}

TEST_F(ImageFileTest, APngFileIsOnePicture) {
  const auto image = open(png(7, {0, 0, 1, 0.5}));
  ASSERT_TRUE(image);
  EXPECT_EQ((NSSize{7, 7}), (*image)->size());
  EXPECT_NEAR(0.5, (*image)->representations().at(0).colorAt(6, 6).alpha, 0.01);
}

TEST_F(ImageFileTest, WhatHoldsNoPictureIsAnError) {
  auto huge = png(8, {});
  huge.replace(16, 8, bigEndian(0x7FFFFFFF) + bigEndian(0x7FFFFFFF));
  for (const auto& content :
       {std::string(), std::string("icns"), iconFile(""), iconFile("short"), iconFile(element("it32", "")),
        iconFile("ic07" + bigEndian(7)), iconFile("ic07" + bigEndian(0xFFFFFFFF) + "x"),
        png(8, {}).substr(0, 30), huge, std::string("GIF89a"), std::string(100'000, 'i')}) {
    const auto image = open(content);
    ASSERT_FALSE(image) << content.substr(0, 20);
    EXPECT_EQ(259, image.error().code());
  }
  EXPECT_FALSE(NSImage::imageWithContentsOfFile(dataFolder()));
  EXPECT_FALSE(NSImage::imageWithContentsOfFile(dataFolder() + "/missing"));
}

// Each would have an older reader write or read beyond its memory.
TEST_F(ImageFileTest, RunsThatDoNotMakeThePictureAreLeftOut) {
  const auto mask = element("s8mk", std::string(256, '\xff'));
  for (const auto& data : {runs(256, 'a') + runs(256, 'b'), runs(256, 'a') + runs(256, 'b') + runs(255, 'c'),
                           std::string(3, '\x7f'), runs(257, 'a') + runs(256, 'b') + runs(256, 'c'),
                           runs(256, 'a') + runs(256, 'b') + "\xff"}) {
    EXPECT_TRUE(picturesInIconFile(iconFile(element("is32", data) + mask)).empty());
  }
  const auto sound = element("is32", runs(256, 'a') + runs(256, 'b') + runs(256, 'c'));
  EXPECT_EQ(1, picturesInIconFile(iconFile(sound + mask)).size());
  EXPECT_TRUE(picturesInIconFile(iconFile(sound + element("s8mk", "short"))).empty()) << "no mask";
}

TEST_F(ImageFileTest, DamagedFilesDoNoHarm) {
  const auto& whole = wholeFile();
  for (std::size_t size = 0; size < whole.size(); size += 7) (void)picturesInIconFile(whole.substr(0, size));
  std::mt19937 random(1);
  const auto small =
      iconFile(oldPicture() + element("icp4", png(16, {1, 1, 0, 1})) +
               element("ICN#", std::string(256, 'x')) + element("icl8", std::string(1024, 'y')) +
               element("it32", std::string(300, '\x81')) + element("t8mk", std::string(16384, 'm')));
  for (int i = 0; i < 1500; ++i) {
    auto damaged = small;
    for (int changes = 0; changes < 4; ++changes) {
      // Half of the changes in the part before the masks.
      const auto end = changes % 2 == 0 ? damaged.size() : std::size_t{900};
      damaged[random() % end] = static_cast<char>(random());
    }
    for (const auto& rep : picturesInIconFile(damaged)) EXPECT_GT(rep.pixelsWide(), 0);
  }
}

}  // namespace
}  // namespace zelto::test
