#include "hostapp/ThumbnailRenderer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include <gdk-pixbuf/gdk-pixbuf.h>

namespace zelto {

namespace {

constexpr int kSide = 256;
constexpr std::size_t kPiece = 64 << 10;
constexpr std::size_t kMostStart = 16;

struct Release {
  void operator()(GdkPixbuf* pixbuf) const { g_object_unref(pixbuf); }
  void operator()(GdkPixbufLoader* loader) const { g_object_unref(loader); }
  void operator()(gchar* memory) const { g_free(memory); }
};
using Pixbuf = std::unique_ptr<GdkPixbuf, Release>;
using Loader = std::unique_ptr<GdkPixbufLoader, Release>;

struct Format {
  const char* loader;
  bool byLines;  // its pixels are there, as they are allocated, before the first of them is read
  std::size_t offset;
  std::string_view start;
};
using namespace std::string_view_literals;
constexpr std::array kFormats{Format{"png", true, 0, "\x89PNG\r\n\x1a\n"sv},
                              Format{"jpeg", true, 0, "\xff\xd8\xff"sv},
                              Format{"bmp", true, 0, "BM"sv},
                              Format{"gif", false, 0, "GIF8"sv},
                              Format{"tiff", false, 0, "II*\0"sv},
                              Format{"tiff", false, 0, "MM\0*"sv},
                              Format{"webp", false, 8, "WEBP"sv}};

// The library would try every loader that the system has; these few are enough.
const Format* formatOf(std::string_view start) {
  const auto found = std::find_if(kFormats.begin(), kFormats.end(), [start](const Format& format) {
    return start.size() >= format.offset && start.substr(format.offset).starts_with(format.start);
  });
  return found == kFormats.end() ? nullptr : &*found;
}

struct Target {
  std::uint64_t mostPixels;
  bool tooLarge = false;
};

// Called with the size before any memory is taken for the pixels. A size of nothing ends the loading.
void sizeKnown(GdkPixbufLoader* loader, int width, int height, gpointer data) {
  auto& target = *static_cast<Target*>(data);
  const auto pixels = static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height);
  target.tooLarge = width <= 0 || height <= 0 || pixels > target.mostPixels;
  if (target.tooLarge) return gdk_pixbuf_loader_set_size(loader, 0, 0);
  const double scale = std::min(1.0, static_cast<double>(kSide) / std::max(width, height));
  const auto scaled = [scale](int length) {
    return std::max(1, static_cast<int>(std::lround(length * scale)));
  };
  if (scale < 1) gdk_pixbuf_loader_set_size(loader, scaled(width), scaled(height));
}

// What a cut file does not have stays blank, instead of what the memory held before.
void makeBlank(GdkPixbufLoader* loader, gpointer) {
  gdk_pixbuf_fill(gdk_pixbuf_loader_get_pixbuf(loader), 0xffffff00U);
}

// The picture while it is being read.
class Picture {
 public:
  Picture(const Format& format, std::uint64_t mostPixels)
      : target_{mostPixels, false}, loader_(gdk_pixbuf_loader_new_with_type(format.loader, nullptr)) {
    if (!loader_) return;
    g_signal_connect(loader_.get(), "size-prepared", G_CALLBACK(sizeKnown), &target_);
    if (format.byLines) g_signal_connect(loader_.get(), "area-prepared", G_CALLBACK(makeBlank), nullptr);
  }
  ~Picture() {
    // It has to be closed, also when the picture has come to nothing.
    if (loader_ && !closed_) gdk_pixbuf_loader_close(loader_.get(), nullptr);
  }
  Picture(const Picture&) = delete;
  Picture& operator=(const Picture&) = delete;

  bool canRead() const { return loader_ != nullptr; }
  bool tooLarge() const { return target_.tooLarge; }
  bool take(std::span<const std::byte> bytes) {
    const auto* data = reinterpret_cast<const guchar*>(bytes.data());
    return gdk_pixbuf_loader_write(loader_.get(), data, bytes.size(), nullptr) != FALSE && !tooLarge();
  }
  // Upright. Null for a broken picture; of one that was cut, what there is.
  Pixbuf finished() {
    closed_ = true;
    if (gdk_pixbuf_loader_close(loader_.get(), nullptr) == FALSE || tooLarge()) return nullptr;
    auto* image = gdk_pixbuf_loader_get_pixbuf(loader_.get());
    return Pixbuf(image != nullptr ? gdk_pixbuf_apply_embedded_orientation(image) : nullptr);
  }

 private:
  Target target_;
  const Loader loader_;
  bool closed_ = false;
};

Pixbuf fitted(Pixbuf image) {
  const int width = gdk_pixbuf_get_width(image.get());
  const int height = gdk_pixbuf_get_height(image.get());
  if (std::max(width, height) <= kSide) return image;
  const auto scaled = [most = std::max(width, height)](int length) {
    return std::max(1, length * kSide / most);
  };
  return Pixbuf(gdk_pixbuf_scale_simple(image.get(), scaled(width), scaled(height), GDK_INTERP_BILINEAR));
}

std::optional<std::string> encoded(const Pixbuf& image) {
  gchar* bytes = nullptr;
  gsize size = 0;
  if (!image || gdk_pixbuf_save_to_buffer(image.get(), &bytes, &size, "png", nullptr, nullptr) == FALSE) {
    return std::nullopt;
  }
  const std::unique_ptr<gchar, Release> owned(bytes);
  return std::string(owned.get(), size);
}

// The whole file, piece by piece. False when the loader wants no more of it.
std::expected<bool, NSError> feed(Picture& picture, BackendFile& file, std::uint64_t most) {
  std::vector<std::byte> piece(kPiece);
  for (std::uint64_t offset = 0; offset < most;) {
    const auto count = file.readAt(piece, offset);
    if (!count) return std::unexpected(count.error());
    if (*count == 0) return true;
    if (!picture.take(std::span(piece).first(*count))) return false;
    offset += *count;
  }
  return false;
}

}  // namespace

NSError noPictureError(const std::string& path, const std::string& reason) {
  return errorWithPOSIXCode(static_cast<int>(kNoDataCode), "\"" + path + "\": " + reason);
}

std::expected<std::string, NSError> renderThumbnail(const std::string& path, BackendFile& file,
                                                    const ThumbnailLimits& limits) {
  const auto entry = file.stat();
  if (!entry) return std::unexpected(entry.error());
  if (entry->stat.size > limits.bytes)
    return std::unexpected(noPictureError(path, "it is too large to be shown"));
  std::array<std::byte, kMostStart> start{};
  const auto count = file.readAt(start, 0);
  if (!count) return std::unexpected(count.error());
  const auto* format = formatOf({reinterpret_cast<const char*>(start.data()), *count});
  if (format == nullptr) return std::unexpected(noPictureError(path, "it is no picture"));
  Picture picture(*format, limits.pixels);
  if (!picture.canRead()) return std::unexpected(noPictureError(path, "such pictures cannot be read"));
  const auto fed = feed(picture, file, limits.bytes + 1);
  if (!fed) return std::unexpected(fed.error());
  auto image = *fed ? picture.finished() : nullptr;
  auto png = image ? encoded(fitted(std::move(image))) : std::nullopt;
  if (png) return *std::move(png);
  return std::unexpected(noPictureError(
      path, picture.tooLarge() ? "it has too many pixels to be shown" : "the picture is broken"));
}

}  // namespace zelto
