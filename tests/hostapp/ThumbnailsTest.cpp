#include <condition_variable>

#include "hostapp/BackendErrors.h"
#include "tests/hostapp/ForwardingBackend.h"
#include "tests/hostapp/HostFixture.h"
#include "tests/hostapp/Pictures.h"

namespace zelto::test {
namespace {

using Thumbnail = std::tuple<std::optional<NSData>, std::optional<NSError>>;

// Counts the files that are opened, and can hold up who opens them.
class CountingBackend : public ForwardingBackend {
 public:
  using ForwardingBackend::ForwardingBackend;
  std::expected<std::unique_ptr<BackendFile>, NSError> open(const std::string& path) override {
    {
      std::unique_lock lock(mutex_);
      ++opened_;
      mostInside_ = std::max(mostInside_, ++inside_);
      changed_.notify_all();
      changed_.wait(lock, [this] { return !held_; });
      --inside_;
    }
    return inner_->open(path);
  }
  void hold(bool held) {
    const std::lock_guard lock(mutex_);
    held_ = held;
    changed_.notify_all();
  }
  void awaitInside(int count) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this, count] { return inside_ >= count; });
  }
  int opened() const {
    const std::lock_guard lock(mutex_);
    return opened_;
  }
  int mostInside() const {
    const std::lock_guard lock(mutex_);
    return mostInside_;
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  bool held_ = false;
  int opened_ = 0;
  int inside_ = 0;
  int mostInside_ = 0;
};

class ThumbnailsTest : public HostFixture {
 protected:
  ThumbnailsTest() {
    wrap = [this](std::shared_ptr<ServerBackend> inner) {
      return counting = std::make_shared<CountingBackend>(std::move(inner));
    };
    adjust = [this](HostParts::Given& given) {
      given.thumbnailFolder = server.own("thumbnails");
      given.thumbnailLimits = limits;
    };
  }
  std::future<Thumbnail> ask(const std::string& name) {
    auto [reply, future] = awaited<std::optional<NSData>, std::optional<NSError>>();
    service->thumbnailForPath("/My Files/share/" + name, std::move(reply));
    return std::move(future);
  }
  PixbufHandle thumbnail(const std::string& name) {
    auto [data, error] = ask(name).get();
    EXPECT_FALSE(error) << error->localizedDescription();
    if (!data) return nullptr;
    EXPECT_TRUE(data->text().starts_with("\x89PNG"));
    return decodedPicture(data->text());
  }
  void expectNoPicture(const std::string& name, const std::string& reason) {
    const auto [data, error] = ask(name).get();
    EXPECT_FALSE(data) << name;
    ASSERT_TRUE(error) << name;
    EXPECT_EQ(96, error->code());
    EXPECT_EQ(NSPOSIXErrorDomain, error->domain());
    EXPECT_NE(std::string::npos, error->localizedDescription().find(reason)) << error->localizedDescription();
  }
  void expectSize(const PixbufHandle& image, int width, int height) {
    ASSERT_TRUE(image);
    EXPECT_EQ(width, gdk_pixbuf_get_width(image.get()));
    EXPECT_EQ(height, gdk_pixbuf_get_height(image.get()));
  }

  std::shared_ptr<CountingBackend> counting;
  ThumbnailLimits limits;
};

TEST_F(ThumbnailsTest, PicturesOfEachKindAreScaled) {
  for (const auto* format : {"png", "jpeg", "bmp", "tiff"}) {
    const auto bytes = picture(format, 1000, 500);
    ASSERT_FALSE(bytes.empty()) << format;
    // The content decides, not the name.
    server.write(std::string("share/") + format + ".txt", bytes);
  }
  server.write("share/small.png", picture("png", 20, 10));
  server.write("share/thin.png", picture("png", 2000, 2));
  start();
  for (const auto* format : {"png", "jpeg", "bmp", "tiff"}) {
    const auto image = thumbnail(std::string(format) + ".txt");
    expectSize(image, 256, 128);
    EXPECT_TRUE(isRed(image, 10, 64) && !isRed(image, 245, 64)) << format;
  }
  expectSize(thumbnail("small.png"), 20, 10);
  expectSize(thumbnail("thin.png"), 256, 1);
}

TEST_F(ThumbnailsTest, APictureTakenSidewaysStandsUpright) {
  server.write("share/large.jpg", turned(picture("jpeg", 1000, 500)));
  server.write("share/small.jpg", turned(picture("jpeg", 40, 20)));
  start();
  const auto large = thumbnail("large.jpg");
  expectSize(large, 128, 256);
  EXPECT_TRUE(isRed(large, 64, 10) && !isRed(large, 64, 245));
  expectSize(thumbnail("small.jpg"), 20, 40);
}

TEST_F(ThumbnailsTest, WhatIsNoPictureHasNoData) {
  server.write("share/text.png", "this is no picture");
  server.write("share/empty.jpg", "");
  const auto whole = picture("tiff", 300, 300);
  server.write("share/cut.tiff", whole.substr(0, whole.size() / 2));
  auto noise = picture("png", 300, 300);
  for (std::size_t i = 60; i < noise.size(); i += 3) noise[i] = static_cast<char>(noise[i] ^ 0x5a);
  server.write("share/noise.png", noise);
  server.folder("share/folder");
  start();
  expectNoPicture("text.png", "no picture");
  expectNoPicture("empty.jpg", "no picture");
  expectNoPicture("cut.tiff", "broken");
  expectNoPicture("noise.png", "broken");
  expectNoPicture("folder", "no file");
  EXPECT_TRUE(isNoSuchItem(*std::get<1>(ask("none.png").get())));
}

// As far as it goes; what is missing is blank, not what the host's memory held before.
TEST_F(ThumbnailsTest, ACutPictureIsShownInPart) {
  for (const auto* format : {"png", "jpeg", "bmp"}) {
    const auto whole = picture(format, 300, 300);
    server.write(std::string("share/cut.") + format, whole.substr(0, whole.size() / 2));
  }
  start();
  for (const auto* format : {"png", "jpeg", "bmp"}) {
    const auto image = thumbnail(std::string("cut.") + format);
    expectSize(image, 256, 256);
    // These begin at the top, but for BMP.
    const bool upwards = std::string(format) == "bmp";
    EXPECT_TRUE(isRed(image, 10, upwards ? 240 : 10)) << format;
    EXPECT_FALSE(isRed(image, 10, upwards ? 10 : 240)) << format;
  }
}

// No memory is taken for what a few bytes claim.
TEST_F(ThumbnailsTest, HugePicturesAreNotRead) {
  server.write("share/huge.png", hugePng(60'000));
  server.write("share/huge.bmp", hugeBmp(30'000));
  server.write("share/huge.gif", hugeGif());
  server.write("share/wide.gif", wideGif(20'000));
  limits = {.bytes = 100'000, .pixels = 50'000'000};
  server.write("share/long.png", picture("png", 10, 10) + std::string(100'000, 'x'));
  start();
  expectNoPicture("huge.png", "too many pixels");
  expectNoPicture("huge.bmp", "too many pixels");
  expectNoPicture("huge.gif", "too many pixels");
  expectNoPicture("wide.gif", "too many pixels");
  expectNoPicture("long.png", "too large");
}

TEST_F(ThumbnailsTest, AreKeptUntilThePictureChanges) {
  server.write("share/a.png", picture("png", 300, 300));
  start();
  expectSize(thumbnail("a.png"), 256, 256);
  restart();
  expectSize(thumbnail("a.png"), 256, 256);
  EXPECT_EQ(0, counting->opened()) << "by the host of after the restart";
  server.write("share/a.png", picture("png", 300, 150));
  expectSize(thumbnail("a.png"), 256, 128);
  EXPECT_EQ(1, counting->opened());
  for (const auto& kept : std::filesystem::directory_iterator(server.own("thumbnails"))) {
    std::ofstream(kept.path(), std::ios::trunc) << "broken";
  }
  expectSize(thumbnail("a.png"), 256, 128);
}

TEST_F(ThumbnailsTest, NeverHoldUpOtherRequests) {
  for (int i = 0; i < 8; ++i) server.write("share/" + std::to_string(i) + ".png", picture("png", 300, 300));
  start();
  counting->hold(true);
  std::vector<std::future<Thumbnail>> answers;
  for (int i = 0; i < 8; ++i) answers.push_back(ask(std::to_string(i) + ".png"));
  counting->awaitInside(2);
  EXPECT_EQ(8U, list("/My Files/share").size()) << "answered meanwhile";
  counting->hold(false);
  for (auto& answer : answers) EXPECT_TRUE(std::get<0>(answer.get()));
  EXPECT_EQ(2, counting->mostInside());
}

TEST_F(ThumbnailsTest, NobodyMakesThemForALostConnection) {
  server.write("share/a.png", picture("png", 300, 300));
  start();
  service->abandon();
  const auto [data, error] = ask("a.png").get();
  EXPECT_FALSE(data);
  EXPECT_EQ(89, error->code());
  EXPECT_EQ(0, counting->opened());
}

TEST(ThumbnailCache, IsBounded) {
  const ServerFolder folder;
  const auto png = "\x89PNG" + std::string(1000, 'x');
  ThumbnailCache cache(folder.own("kept"), 5000);
  const EntryStat stat{.size = 7};
  for (int i = 0; i < 30; ++i) cache.keep("share/" + std::to_string(i), stat, png);
  std::uintmax_t bytes = 0;
  for (const auto& kept : std::filesystem::directory_iterator(folder.own("kept"))) bytes += kept.file_size();
  EXPECT_LE(bytes, 5000U);
  EXPECT_GE(bytes, 2000U);
  EXPECT_FALSE(cache.find("share/0", stat));
  EXPECT_FALSE(cache.find("share/29", EntryStat{.size = 8}));
  EXPECT_FALSE(ThumbnailCache("").find("share/29", stat));
}

}  // namespace
}  // namespace zelto::test
