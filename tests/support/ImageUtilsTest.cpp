#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <limits>

#include "platform/imaging/NSGraphicsContext.h"
#include "support/ImageUtils.h"
#include "tests/extension/Fixture.h"

// The font library keeps its configuration to the end of the process; it does not grow.
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig\n"; }

namespace zelto::test {
namespace {

constexpr NSColor kRed{1, 0, 0, 1};
constexpr NSColor kGreen{0, 1, 0, 1};
constexpr NSColor kBlue{0, 0, 1, 1};
constexpr NSColor kWhite{1, 1, 1, 1};
constexpr NSColor kClear{0, 0, 0, 0};

// Blue, with a quarter of each side in another colour at three corners: red upper left, green upper right,
// white lower left.
NSImagePtr corners(double width, double height) {
  return NSImage::drawn({width, height}, 1, [&](NSGraphicsContext& context) {
    const NSSize quarter{width / 4, height / 4};
    context.fillRect({0, 0}, {width, height}, kBlue);
    context.fillRect({0, height - quarter.height}, quarter, kRed);
    context.fillRect({width - quarter.width, height - quarter.height}, quarter, kGreen);
    context.fillRect({0, 0}, quarter, kWhite);
  });
}

// The corner pixels: upper left, upper right, lower right, lower left.
std::vector<NSColor> cornersOf(const NSImagePtr& image) {
  const auto& rep = image->representations().at(0);
  const int right = rep.pixelsWide() - 1;
  const int bottom = rep.pixelsHigh() - 1;
  return {rep.colorAt(0, 0), rep.colorAt(right, 0), rep.colorAt(right, bottom), rep.colorAt(0, bottom)};
}

// How far two colours are apart, transparent ones of any colour being the same.
double difference(NSColor a, NSColor b) {
  return std::fabs(a.alpha - b.alpha) + std::fabs(a.red * a.alpha - b.red * b.alpha) +
         std::fabs(a.green * a.alpha - b.green * b.alpha) + std::fabs(a.blue * a.alpha - b.blue * b.alpha);
}

// The mean difference of a pixel; huge where the pictures are not of one size.
double meanDifference(const NSImageRep& a, const NSImageRep& b) {
  if (a.pixelsWide() != b.pixelsWide() || a.pixelsHigh() != b.pixelsHigh()) return HUGE_VAL;
  double sum = 0;
  for (int y = 0; y < a.pixelsHigh(); ++y) {
    for (int x = 0; x < a.pixelsWide(); ++x) sum += difference(a.colorAt(x, y), b.colorAt(x, y));
  }
  return sum / a.pixelsWide() / a.pixelsHigh();
}

class ImageUtilsTest : public ExtensionFixture {
 protected:
  ImageUtilsTest() {
    // Whatever fonts the machine has, the one the reference was made with is taken.
    const auto fonts = dataFolder() + "/fonts.conf";
    writeFile(fonts, "<fontconfig><dir>/usr/share/fonts/truetype/dejavu</dir><cachedir>" + dataFolder() +
                         "/fonts</cachedir><match><edit name=\"family\" mode=\"assign\"><string>DejaVu Sans"
                         "</string></edit></match></fontconfig>");
    ::setenv("FONTCONFIG_FILE", fonts.c_str(), 1);
  }

  // Compares with the picture of that name. With ZELTO_TEST_PICTURES a folder, what was made is put there, to
  // be looked at.
  static void expectLike(const std::string& name, const NSImagePtr& image) {
    const auto& rep = image->representations().at(0);
    if (const char* const folder = std::getenv("ZELTO_TEST_PICTURES")) {
      writeFile(std::string(folder) + "/" + name, rep.PNGRepresentation().value());
    }
    const auto reference =
        NSImage::imageWithContentsOfFile(std::string(ZELTO_TEST_PICTURE_FOLDER) + "/" + name);
    ASSERT_TRUE(reference) << reference.error().localizedDescription();
    constexpr double kTolerance = 0.02;
    EXPECT_LT(meanDifference(rep, (*reference)->representations().at(0)), kTolerance) << name;
  }
};

TEST_F(ImageUtilsTest, AQuarterTurnIsClockwise) {
  const auto image = corners(40, 40);
  ASSERT_EQ((std::vector{kRed, kGreen, kBlue, kWhite}), cornersOf(image));
  EXPECT_EQ((std::vector{kWhite, kRed, kGreen, kBlue}), cornersOf(rotateByDegrees(image, 90)));
  EXPECT_EQ((std::vector{kBlue, kWhite, kRed, kGreen}), cornersOf(rotateByDegrees(image, 180)));
  EXPECT_EQ((std::vector{kGreen, kBlue, kWhite, kRed}), cornersOf(rotateByDegrees(image, -90)));
  EXPECT_EQ(cornersOf(rotateByDegrees(image, 90)), cornersOf(rotateByDegrees(image, 450)));
}

TEST_F(ImageUtilsTest, ATurnedPictureKeepsItsFrame) {
  const auto turned = rotateByDegrees(corners(80, 40), 90);
  EXPECT_EQ((NSSize{80, 40}), turned->size());
  // Of what was 80 wide the middle 40 are left, upright in the middle of the frame.
  EXPECT_EQ((std::vector{kClear, kClear, kClear, kClear}), cornersOf(turned));
  const auto& rep = turned->representations().at(0);
  EXPECT_EQ(kBlue, rep.colorAt(40, 20));
  EXPECT_EQ(kClear, rep.colorAt(19, 20));
  EXPECT_EQ(kBlue, rep.colorAt(21, 20));
  expectLike("rotate-30.png", rotateByDegrees(corners(80, 40), 30));
}

TEST_F(ImageUtilsTest, WholeTurnsAndNoAnglesGiveTheReceiver) {
  const auto image = corners(8, 4);
  for (const double degrees : {0.0, 360.0, 720.0, -360.0, std::nan(""), HUGE_VAL}) {
    EXPECT_EQ(image, rotateByDegrees(image, degrees)) << degrees;
    EXPECT_EQ(image, rotatexByDegrees(image, degrees)) << degrees;
  }
  EXPECT_EQ(image, rotatexByDegrees(image, 0.9));
  EXPECT_EQ(image, rotatexByDegrees(image, -360.9));
  EXPECT_NE(image, rotateByDegrees(image, 0.9));
}

TEST_F(ImageUtilsTest, TheOtherTurnIsCounterclockwiseAndMakesRoom) {
  const auto turned = rotatexByDegrees(corners(100, 50), 90.9);
  EXPECT_EQ((NSSize{50, 100}), turned->size());
  EXPECT_EQ((std::vector{kGreen, kBlue, kWhite, kRed}), cornersOf(turned));
  EXPECT_EQ((std::vector{kWhite, kRed, kGreen, kBlue}), cornersOf(rotatexByDegrees(corners(100, 50), -90)));
  const auto slanted = rotatexByDegrees(corners(80, 40), 30);
  EXPECT_NEAR(80 * std::sqrt(3) / 2 + 20, slanted->size().width, 1e-9);
  EXPECT_NEAR(40 * std::sqrt(3) / 2 + 40, slanted->size().height, 1e-9);
  expectLike("rotatex-30.png", slanted);
}

TEST_F(ImageUtilsTest, TheOtherTurnKeepsThePixelsOfAFineImage) {
  const auto fine = NSImage::drawn({20, 10}, 2, [](NSGraphicsContext& context) {
    context.fillRect({0, 0}, {20, 10}, kBlue);
  });
  const auto turned = rotatexByDegrees(fine, 90);
  EXPECT_EQ((NSSize{10, 20}), turned->size());
  EXPECT_EQ(40, turned->representations().at(0).pixelsHigh());
}

TEST_F(ImageUtilsTest, OpacityIsThatOfEveryPixel) {
  const auto image = corners(40, 20);
  const auto half = imageWithAlpha(image, 0.5);
  EXPECT_EQ(image->size(), half->size());
  const auto pixels = cornersOf(half);
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    EXPECT_NEAR(0.5, pixels[i].alpha, 0.01);
    auto opaque = pixels[i];
    opaque.alpha = 1;
    EXPECT_LT(difference(opaque, cornersOf(image)[i]), 0.02);
  }
  EXPECT_EQ(cornersOf(image), cornersOf(imageWithAlpha(image, 2)));
  for (const double none : {0.0, -1.0, std::nan("")})
    EXPECT_EQ(kClear, cornersOf(imageWithAlpha(image, none))[0]);
  expectLike("alpha-half.png", half);
}

// An L stands on the left at the full height of a capital: its stem is to the left, its foot below.
TEST_F(ImageUtilsTest, TextIsDrawnFromTheLowerLeftCorner) {
  const auto letter = imageWithFirstCharacterOfText(corners(64, 64), "L", kRed);
  EXPECT_EQ((NSSize{64, 64}), letter->size());
  const auto& rep = letter->representations().at(0);
  int lowest = -1;
  int leftmost = 64;
  int above = 0;
  for (int y = 0; y < 64; ++y) {
    for (int x = 0; x < 64; ++x) {
      if (rep.colorAt(x, y).alpha < 0.5) continue;
      EXPECT_LT(difference(NSColor{1, 0, 0, rep.colorAt(x, y).alpha}, rep.colorAt(x, y)), 0.02);
      lowest = y;
      leftmost = std::min(leftmost, x);
      above += x > 20 && y < 30 ? 1 : 0;
    }
  }
  EXPECT_GT(lowest, 40);
  EXPECT_LT(lowest, 60) << "the box's lower part is for letters that go below the line";
  EXPECT_LT(leftmost, 10);
  EXPECT_EQ(0, above) << "right of the stem, above the foot";
  expectLike("text-L.png", letter);
}

TEST_F(ImageUtilsTest, TextsOfAnyKindAreDrawn) {
  const auto image = corners(16, 16);
  const auto empty = imageWithFirstCharacterOfText(image, "", kRed);
  EXPECT_EQ((std::vector{kClear, kClear, kClear, kClear}), cornersOf(empty));
  for (const std::string& text : std::vector<std::string>{"\xff\xfe", std::string("\0a", 2), "\U0001F600",
                                                          "a\nb", std::string(1'000'000, 'x')}) {
    EXPECT_EQ(image->size(), imageWithFirstCharacterOfText(image, text, kRed)->size());
  }
}

TEST_F(ImageUtilsTest, SizesOfAnyKindDoNoHarm) {
  for (const NSSize size : std::vector<NSSize>{{0, 0},
                                               {0, 10},
                                               {-5, 5},
                                               {0.5, 0.5},
                                               {std::nan(""), 1},
                                               {HUGE_VAL, HUGE_VAL},
                                               {1e9, 2},
                                               {20000, 1}}) {
    const auto image = NSImage::drawn(size, 1, [](NSGraphicsContext& context) {
      context.fillRect({0, 0}, {1, 1}, kRed);
    });
    const NSImagePtr bare = std::make_shared<NSImage>(size, std::vector<NSImageRep>());
    for (const auto& one : {image, bare}) {
      EXPECT_EQ(one->size(), rotateByDegrees(one, 45)->size());
      EXPECT_EQ(one->size(), imageWithAlpha(one, 0.5)->size());
      EXPECT_EQ(one->size(), imageWithFirstCharacterOfText(one, "A", kRed)->size());
      EXPECT_TRUE(rotatexByDegrees(one, 45));
    }
  }
}

TEST_F(ImageUtilsTest, DrawingCommandsAreDrawnLikePixels) {
  const NSImagePtr image = std::make_shared<NSImage>(
      NSSize{40, 40}, std::vector{NSImageRep::commands({40, 40}, [](NSGraphicsContext& context) {
        context.fillRect({0, 0}, {40, 40}, kBlue);
        context.fillRect({0, 30}, {10, 10}, kRed);
      })});
  EXPECT_EQ((std::vector{kBlue, kRed, kBlue, kBlue}), cornersOf(rotateByDegrees(image, 90)));
  EXPECT_EQ(kRed, cornersOf(imageWithAlpha(image, 1))[0]);
}

NSImageRep plain(double width, double height, NSColor color) {
  return *NSImageRep::bitmap({width, height}, 1, [&](NSGraphicsContext& context) {
    context.fillRect({0, 0}, {width, height}, color);
  });
}

TEST_F(ImageUtilsTest, TheFirstBitmapOfExactlyTheSizeIsExtracted) {
  const NSImagePtr icon = std::make_shared<NSImage>(
      NSSize{64, 64},
      std::vector{NSImageRep::commands({32, 32}, [](NSGraphicsContext&) {}), plain(16, 16, kRed),
                  plain(32, 16, kRed), plain(32, 32, kGreen), plain(32, 32, kBlue)});
  const auto found = extractImageOfSize({32, 32}, icon);
  ASSERT_TRUE(found);
  EXPECT_EQ((NSSize{32, 32}), found->size());
  ASSERT_EQ(1, found->representations().size());
  EXPECT_EQ(kGreen, found->representations().at(0).colorAt(5, 5));
  for (const NSSize size :
       {NSSize{64, 64}, NSSize{16, 32}, NSSize{32.5, 32}, NSSize{0, 0}, NSSize{std::nan(""), 32}}) {
    EXPECT_FALSE(extractImageOfSize(size, icon));
  }
  EXPECT_FALSE(extractImageOfSize({32, 32}, nullptr));
}

}  // namespace
}  // namespace zelto::test
