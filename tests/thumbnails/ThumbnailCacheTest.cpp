#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "framework/thumbnails/PngText.h"
#include "framework/thumbnails/ThumbnailCache.h"
#include "tests/foundation/TemporaryFolder.h"
#include "tests/hostapp/Pictures.h"

namespace zelto::test {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

struct Named {
  std::string path, uri, file;
};
// As the desktop's library names them.
const Named kPlain{"/home/anna/Zelto/Fotos/gr\xc3\xbc\xc3\x9f\x65 \xe2\x82\xac.png",
                   "file:///home/anna/Zelto/Fotos/gr%C3%BC%C3%9Fe%20%E2%82%AC.png",
                   "132e9f414a4c8d52b91b562404e00be4.png"};
const std::vector<Named> kNamed{
    kPlain,
    {"/home/anna/Zelto/latin\xe9.png", "file:///home/anna/Zelto/latin%E9.png",
     "8ddd7e2eda700175be9d3e70bc2009a3.png"},
    {"/home/anna/Zelto/!\"#$%&'()*+,-.09:;<=>?@AZ[\\]^_`az{|}~.png",
     "file:///home/anna/Zelto/"
     "!%22%23$%25&'()*+,-.09:%3B%3C=%3E%3F@AZ%5B%5C%5D%5E_%60az%7B%7C%7D~.png",
     "ffe4764c9f46f8b54733bc3dd9325cb7.png"},
    {"/home/anna/Zelto/a\tb\n\x7f.png", "file:///home/anna/Zelto/a%09b%0A%7F.png",
     "a4a5cdf038db60f4d023347456441aae.png"},
};

class ThumbnailCacheTest : public testing::Test {
 protected:
  fs::path at(const std::string& folder, const std::string& name = kPlain.file) const {
    return fs::path(folder_) / folder / name;
  }
  void expectStored(const std::string& image, const std::string& path = kPlain.path) {
    const auto error = cache_.store(path, 1'700'000'000, NSData::copyOf(image));
    EXPECT_FALSE(error) << error->localizedDescription();
  }
  void expectRefused(const std::string& image, const std::string& reason) {
    const auto error = cache_.store(kPlain.path, 1, NSData::copyOf(image));
    ASSERT_TRUE(error) << reason;
    EXPECT_NE(std::string::npos, error->localizedDescription().find(reason)) << error->localizedDescription();
  }
  static PixbufHandle opened(const fs::path& path) {
    return PixbufHandle(gdk_pixbuf_new_from_file(path.c_str(), nullptr));
  }
  static std::string note(const PixbufHandle& image, const char* key) {
    const auto* text = gdk_pixbuf_get_option(image.get(), key);
    return text == nullptr ? "" : text;
  }
  void expectSizes(const std::string& image, int width, int height, int smallWidth, int smallHeight) {
    expectStored(image);
    expectSize(opened(at("large")), width, height);
    expectSize(opened(at("normal")), smallWidth, smallHeight);
  }
  static void expectSize(const PixbufHandle& image, int width, int height) {
    ASSERT_TRUE(image);
    EXPECT_EQ(width, gdk_pixbuf_get_width(image.get()));
    EXPECT_EQ(height, gdk_pixbuf_get_height(image.get()));
  }
  static mode_t modeOf(const fs::path& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
  }
  static void write(const fs::path& path, const std::string& content) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
  }
  std::size_t files() const {
    const auto all = fs::recursive_directory_iterator(temporary_.path());
    return static_cast<std::size_t>(
        std::count_if(begin(all), end(all), [](const auto& entry) { return entry.is_regular_file(); }));
  }

  const TemporaryFolder temporary_;
  const std::string folder_ = temporary_.path() + "/cache/thumbnails";
  const ThumbnailCache cache_{folder_};
};

TEST_F(ThumbnailCacheTest, PicturesStandUnderTheNamesThatBrowsersLookFor) {
  for (const auto& [path, uri, file] : kNamed) {
    expectStored(picture("png", 400, 100), path);
    for (const auto* folder : {"normal", "large"}) {
      const auto image = opened(at(folder, file));
      ASSERT_TRUE(image) << uri;
      EXPECT_EQ(uri, note(image, "tEXt::Thumb::URI"));
      EXPECT_EQ("1700000000", note(image, "tEXt::Thumb::MTime"));
      EXPECT_EQ("Zelto", note(image, "tEXt::Software"));
      EXPECT_EQ(0600U, modeOf(at(folder, file)));
    }
    EXPECT_TRUE(cache_.isCurrent(path, 1'700'000'000)) << uri;
  }
  for (const auto* folder : {"..", ".", "normal", "large"}) EXPECT_EQ(0700U, modeOf(at(folder, "")));
  EXPECT_EQ(kNamed.size() * 2, files());  // nothing temporary stays
}

// Xfce's thumbnailer takes the first text of this name, whatever its kind; GLib only plain ones.
TEST_F(ThumbnailCacheTest, TheDateIsThereInBothWaysThatAreLookedFor) {
  ASSERT_FALSE(cache_.store(kPlain.path, 1'700'000'000, NSData::copyOf(picture("png", 400, 100)), 250));
  const std::string bytes = contentOf(at("normal"));
  using namespace std::string_literals;
  const auto exact = bytes.find("iTXtThumb::MTime\0\0\0\0\0"s + "1700000000.000250");
  ASSERT_NE(std::string::npos, exact);
  EXPECT_LT(exact, bytes.find("tEXtThumb::MTime\0"s + "1700000000"));
  EXPECT_EQ(std::string::npos, bytes.find("tEXtThumb::MTime\0"s + "1700000000."));
  EXPECT_TRUE(opened(at("normal")));
}

TEST_F(ThumbnailCacheTest, PicturesAreScaledButNeverEnlarged) {
  for (const auto* format : {"png", "jpeg", "bmp", "tiff"}) {
    expectSizes(picture(format, 1000, 500), 256, 128, 128, 64);
    const auto image = opened(at("normal"));
    EXPECT_TRUE(isRed(image, 10, 32) && !isRed(image, 120, 32)) << format;
  }
  expectSizes(picture("png", 200, 50), 200, 50, 128, 32);
  expectSizes(picture("png", 20, 10), 20, 10, 20, 10);
  expectSizes(picture("png", 2, 3000), 1, 256, 1, 128);
  expectSizes(turned(picture("jpeg", 1000, 500)), 128, 256, 64, 128);
  expectSizes("GIF89a\1\0\1\0\x80\0\0\xff\0\0\0\0\xff,\0\0\0\0\1\0\1\0\0\2\2\x44\1\0;"s, 1, 1, 1, 1);
}

TEST_F(ThumbnailCacheTest, AWholePictureOfTheSameFileAndDateIsCurrent) {
  EXPECT_FALSE(cache_.isCurrent(kPlain.path, 1'700'000'000));
  expectStored(picture("png", 300, 300));
  EXPECT_TRUE(cache_.isCurrent(kPlain.path, 1'700'000'000));
  EXPECT_FALSE(cache_.isCurrent(kPlain.path, 1'700'000'001));
  EXPECT_FALSE(cache_.isCurrent(kPlain.path, 170'000'000));
  const auto whole = contentOf(at("normal"));
  write(at("normal"), whole.substr(0, 40));
  EXPECT_FALSE(cache_.isCurrent(kPlain.path, 1'700'000'000));
  fs::remove(at("normal"));
  EXPECT_FALSE(cache_.isCurrent(kPlain.path, 1'700'000'000));
  // Another file's picture under this name.
  fs::copy_file(at("large"), at("large", kNamed[1].file));
  write(at("normal", kNamed[1].file), whole);
  EXPECT_FALSE(cache_.isCurrent(kNamed[1].path, 1'700'000'000));
  write(at("normal"), whole);
  EXPECT_TRUE(cache_.isCurrent(kPlain.path, 1'700'000'000));
}

TEST_F(ThumbnailCacheTest, WhatIsNoPictureOrTooLargeIsRefusedAndLeavesNothing) {
  expectRefused("", "no picture");
  expectRefused("<svg xmlns='http://www.w3.org/2000/svg'/>", "no picture");
  const auto tiff = picture("tiff", 300, 300);
  expectRefused(tiff.substr(0, tiff.size() / 2), "broken");
  auto noise = picture("png", 300, 300);
  for (std::size_t i = 60; i < noise.size(); i += 3) noise[i] = static_cast<char>(noise[i] ^ 0x5a);
  expectRefused(noise, "broken");
  expectRefused(hugePng(60'000), "too many pixels");
  expectRefused(hugePng(4097), "too many pixels");
  expectRefused(hugeBmp(60'000), "too many pixels");
  expectRefused(hugeGif(), "too many pixels");
  expectRefused(wideGif(4097), "too many pixels");
  auto bytes = picture("png", 30, 30);
  bytes.resize(ThumbnailCache::kMostBytes + 1);
  expectRefused(bytes, "too large");
  EXPECT_EQ(0U, files());
}

// Whatever becomes of the bytes on their way, it ends with a picture or an error.
TEST_F(ThumbnailCacheTest, DamagedBytesEndWell) {
  std::mt19937 random(7);
  std::int64_t date = 0;
  for (const auto* format : {"png", "jpeg", "bmp", "tiff"}) {
    const auto whole = picture(format, 60, 40);
    for (int round = 0; round < 60; ++round, ++date) {
      auto damaged = whole.substr(0, random() % whole.size());
      for (unsigned i = 0; i < random() % 8 && !damaged.empty(); ++i)
        damaged[random() % damaged.size()] = static_cast<char>(random());
      const bool stored = !cache_.store(kPlain.path, date, NSData::copyOf(damaged));
      EXPECT_EQ(stored, cache_.isCurrent(kPlain.path, date)) << format << round;
    }
  }
}

TEST_F(ThumbnailCacheTest, APictureTakesThePlaceOfFailures) {
  for (const auto* program : {"fail/a-thumbnailer", "fail/another one"}) {
    write(at(program), "failed");
    write(at(program, "other.png"), "failed");
  }
  expectRefused("nothing", "no picture");
  EXPECT_TRUE(fs::exists(at("fail/a-thumbnailer")));
  expectStored(picture("png", 30, 30));
  for (const auto* program : {"fail/a-thumbnailer", "fail/another one"}) {
    EXPECT_FALSE(fs::exists(at(program)));
    EXPECT_TRUE(fs::exists(at(program, "other.png")));
  }
}

TEST_F(ThumbnailCacheTest, NothingIsLeftOfAFileThatIsGone) {
  expectStored(picture("png", 30, 30));
  expectStored(picture("png", 30, 30), kNamed[1].path);
  write(at("x-large"), "by somebody else");
  write(at("fail/a-thumbnailer"), "failed");
  cache_.remove(kPlain.path);
  EXPECT_EQ(2U, files());
  EXPECT_TRUE(cache_.isCurrent(kNamed[1].path, 1'700'000'000));
  cache_.remove("/home/anna/never there.png");
}

TEST_F(ThumbnailCacheTest, WhatTheDiskRefusesIsAnErrorAndLeavesNothing) {
  write(fs::path(folder_) / "large", "no folder");
  const auto image = NSData::copyOf(picture("png", 30, 30));
  auto error = cache_.store(kPlain.path, 1, image);
  ASSERT_TRUE(error);
  EXPECT_EQ(ENOTDIR, error->code());
  fs::remove(fs::path(folder_) / "large");
  fs::create_directories(at("normal"));
  error = cache_.store(kPlain.path, 1, image);
  ASSERT_TRUE(error);
  EXPECT_EQ(EISDIR, error->code());
  EXPECT_FALSE(cache_.isCurrent(kPlain.path, 1));
  EXPECT_EQ(1U, files());
}

TEST(PngTextTest, FindsTextsBeforeThePixelsHoweverMuchIsThere) {
  const PixbufHandle image = decodedPicture(picture("png", 4, 4));
  gchar* bytes = nullptr;
  gsize size = 0;
  ASSERT_TRUE(gdk_pixbuf_save_to_buffer(image.get(), &bytes, &size, "png", nullptr, "tEXt::Key", "value",
                                        "tEXt::Key::More", "another", nullptr));
  const std::string png(bytes, size);
  g_free(bytes);
  EXPECT_EQ("value", pngText(png, "Key"));
  EXPECT_EQ("another", pngText(png, "Key::More"));
  EXPECT_FALSE(pngText(png, "Ke"));
  EXPECT_FALSE(pngText(png.substr(1), "Key"));
  const auto end = png.find("value") + 5;
  for (std::size_t cut = 0; cut <= png.size(); ++cut)
    EXPECT_EQ(cut >= end, pngText(std::string_view(png).substr(0, cut), "Key").has_value()) << cut;
  auto longer = png;
  longer.replace(longer.find("tEXt") - 4, 4, "\xff\xff\xff\xff");
  EXPECT_FALSE(pngText(longer, "Key"));
}

}  // namespace
}  // namespace zelto::test
