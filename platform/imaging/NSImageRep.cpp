#include "platform/imaging/NSImageRep.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "platform/imaging/CairoHandles.h"
#include "platform/imaging/NSGraphicsContext.h"

namespace zelto {
namespace {

constexpr double kLongestSide = 8192;
// Sizes are multiplied: 0.1 and 30 make a little more than 3.
constexpr double kTolerance = 1e-6;

int pixelCount(double length) {
  return static_cast<int>(std::clamp(std::ceil(length - kTolerance), 0.0, kLongestSide));
}

cairo_status_t appendTo(void* text, const unsigned char* bytes, unsigned int count) {
  static_cast<std::string*>(text)->append(reinterpret_cast<const char*>(bytes), count);
  return CAIRO_STATUS_SUCCESS;
}

}  // namespace

std::optional<NSImageRep> NSImageRep::bitmap(NSSize size, double pixelsPerPoint, const Drawing& draw) {
  const double largest = std::max(size.width, size.height);
  const double scale = largest > 0 ? std::min(pixelsPerPoint, kLongestSide / largest) : pixelsPerPoint;
  const int wide = pixelCount(size.width * scale);
  const int high = pixelCount(size.height * scale);
  NSImageRep rep;
  rep.surface_ = ownedSurface(::cairo_image_surface_create(CAIRO_FORMAT_ARGB32, wide, high));
  if (!rep.surface_) return std::nullopt;
  NSGraphicsContext context(rep.surface_, size.height, scale);
  draw(context);
  rep.size_ = size;
  rep.isBitmap_ = true;
  rep.pixelsWide_ = wide;
  rep.pixelsHigh_ = high;
  return rep;
}

NSImageRep NSImageRep::commands(NSSize size, const Drawing& draw) {
  const cairo_rectangle_t extents{0, 0, size.width, size.height};
  NSImageRep rep;
  rep.surface_ = ownedSurface(::cairo_recording_surface_create(CAIRO_CONTENT_COLOR_ALPHA, &extents));
  rep.size_ = size;
  if (!rep.surface_) return rep;
  NSGraphicsContext context(rep.surface_, size.height, 1);
  draw(context);
  return rep;
}

NSImageRep NSImageRep::withSurface(std::shared_ptr<_cairo_surface> pixels) {
  NSImageRep rep;
  rep.pixelsWide_ = ::cairo_image_surface_get_width(pixels.get());
  rep.pixelsHigh_ = ::cairo_image_surface_get_height(pixels.get());
  rep.size_ = {static_cast<double>(rep.pixelsWide_), static_cast<double>(rep.pixelsHigh_)};
  rep.isBitmap_ = true;
  rep.surface_ = std::move(pixels);
  return rep;
}

NSColor NSImageRep::colorAt(int x, int y) const {
  constexpr double kFull = 255;
  ::cairo_surface_flush(surface_.get());
  const auto* const row = ::cairo_image_surface_get_data(surface_.get()) +
                          std::ptrdiff_t{y} * ::cairo_image_surface_get_stride(surface_.get());
  std::uint32_t pixel = 0;
  std::memcpy(&pixel, row + std::ptrdiff_t{x} * 4, sizeof pixel);
  // Files without transparency have no fourth byte.
  const bool opaque = ::cairo_image_surface_get_format(surface_.get()) == CAIRO_FORMAT_RGB24;
  const double alpha = opaque ? kFull : pixel >> 24;
  if (alpha == 0) return {0, 0, 0, 0};
  return {(pixel >> 16 & 0xFF) / alpha, (pixel >> 8 & 0xFF) / alpha, (pixel & 0xFF) / alpha, alpha / kFull};
}

std::optional<std::string> NSImageRep::PNGRepresentation() const {
  std::string text;
  if (!isBitmap_) return std::nullopt;
  const auto status = ::cairo_surface_write_to_png_stream(surface_.get(), appendTo, &text);
  return status == CAIRO_STATUS_SUCCESS ? std::optional(std::move(text)) : std::nullopt;
}

}  // namespace zelto
