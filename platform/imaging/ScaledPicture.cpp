#include "platform/imaging/ScaledPicture.h"

#include <algorithm>
#include <array>
#include <cmath>

#include <gdk-pixbuf/gdk-pixbuf.h>

#include "platform/imaging/GifBlocks.h"

namespace zelto {

namespace {

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
  PictureReader::Limits limits;
  bool tooLarge = false;
};

// Called with the size before any memory is taken for the pixels. A size of nothing ends the loading.
void sizeKnown(GdkPixbufLoader* loader, int width, int height, gpointer data) {
  auto& target = *static_cast<Target*>(data);
  const auto pixels = static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height);
  target.tooLarge = width <= 0 || height <= 0 || pixels > target.limits.pixels;
  if (target.tooLarge) return gdk_pixbuf_loader_set_size(loader, 0, 0);
  const double scale = std::min(1.0, static_cast<double>(target.limits.side) / std::max(width, height));
  const auto scaled = [scale](int length) {
    return std::max(1, static_cast<int>(std::lround(length * scale)));
  };
  if (scale < 1) gdk_pixbuf_loader_set_size(loader, scaled(width), scaled(height));
}

// What a cut file does not have stays blank, instead of what the memory held before.
void makeBlank(GdkPixbufLoader* loader, gpointer) {
  gdk_pixbuf_fill(gdk_pixbuf_loader_get_pixbuf(loader), 0xffffff00U);
}

}  // namespace

struct ScaledPicture::Handle {
  explicit Handle(Pixbuf image) : pixbuf(std::move(image)) {}
  const Pixbuf pixbuf;
};

int ScaledPicture::width() const { return gdk_pixbuf_get_width(handle_->pixbuf.get()); }
int ScaledPicture::height() const { return gdk_pixbuf_get_height(handle_->pixbuf.get()); }

std::optional<ScaledPicture> ScaledPicture::fitted(int side) const {
  const int longest = std::max(width(), height());
  if (longest <= side) return *this;
  const auto scaled = [longest, side](int length) { return std::max(1, length * side / longest); };
  Pixbuf smaller(
      gdk_pixbuf_scale_simple(handle_->pixbuf.get(), scaled(width()), scaled(height()), GDK_INTERP_BILINEAR));
  if (!smaller) return std::nullopt;
  return ScaledPicture(std::make_shared<const Handle>(std::move(smaller)));
}

std::optional<std::string> ScaledPicture::png(const Texts& texts) const {
  std::vector<std::string> names;
  for (const auto& text : texts) names.push_back("tEXt::" + text.first);
  std::vector<char*> keys;
  std::vector<char*> values;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    keys.push_back(names[i].data());
    values.push_back(const_cast<char*>(texts[i].second.c_str()));
  }
  keys.push_back(nullptr);
  values.push_back(nullptr);
  gchar* bytes = nullptr;
  gsize size = 0;
  const bool saved = gdk_pixbuf_save_to_bufferv(handle_->pixbuf.get(), &bytes, &size, "png", keys.data(),
                                                values.data(), nullptr) != FALSE;
  const std::unique_ptr<gchar, Release> owned(bytes);
  return saved ? std::optional(std::string(owned.get(), size)) : std::nullopt;
}

// The picture while it is being read.
struct PictureReader::State {
  State(const Format& format, const Limits& limits)
      : target{limits, false}, loader(gdk_pixbuf_loader_new_with_type(format.loader, nullptr)) {
    if (!loader) return;
    if (format.loader == "gif"sv) gif.emplace(limits.pixels);
    g_signal_connect(loader.get(), "size-prepared", G_CALLBACK(sizeKnown), &target);
    if (format.byLines) g_signal_connect(loader.get(), "area-prepared", G_CALLBACK(makeBlank), nullptr);
  }
  ~State() {
    // It has to be closed, also when the picture has come to nothing.
    if (loader && !closed) gdk_pixbuf_loader_close(loader.get(), nullptr);
  }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  Target target;
  const Loader loader;
  std::optional<GifBlocks> gif{};
  bool refused = false;
  bool closed = false;
};

PictureReader::PictureReader(std::unique_ptr<State> state) : state_(std::move(state)) {}
PictureReader::PictureReader(PictureReader&&) noexcept = default;
PictureReader::~PictureReader() = default;

std::expected<PictureReader, PictureFault> PictureReader::forStart(std::string_view start,
                                                                   const Limits& limits) {
  const auto* format = formatOf(start);
  if (format == nullptr) return std::unexpected(PictureFault::unknownKind);
  auto state = std::make_unique<State>(*format, limits);
  if (!state->loader) return std::unexpected(PictureFault::noReader);
  return PictureReader(std::move(state));
}

bool PictureReader::take(std::span<const std::byte> bytes) {
  if (state_->gif && !state_->gif->take(bytes)) state_->target.tooLarge = true;
  if (state_->target.tooLarge) return false;
  const auto* data = reinterpret_cast<const guchar*>(bytes.data());
  const bool taken = gdk_pixbuf_loader_write(state_->loader.get(), data, bytes.size(), nullptr) != FALSE;
  state_->refused |= !taken;
  return taken && !state_->target.tooLarge;
}

std::expected<ScaledPicture, PictureFault> PictureReader::finish() {
  state_->closed = true;
  const bool whole = gdk_pixbuf_loader_close(state_->loader.get(), nullptr) != FALSE;
  if (state_->target.tooLarge) return std::unexpected(PictureFault::tooManyPixels);
  auto* image = whole && !state_->refused ? gdk_pixbuf_loader_get_pixbuf(state_->loader.get()) : nullptr;
  Pixbuf upright(image != nullptr ? gdk_pixbuf_apply_embedded_orientation(image) : nullptr);
  if (!upright) return std::unexpected(PictureFault::broken);
  auto picture = ScaledPicture(std::make_shared<const ScaledPicture::Handle>(std::move(upright)));
  auto fitted = picture.fitted(state_->target.limits.side);
  if (!fitted) return std::unexpected(PictureFault::broken);
  return *std::move(fitted);
}

}  // namespace zelto
