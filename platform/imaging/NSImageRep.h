#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/imaging/NSGeometry.h"

struct _cairo_surface;

namespace zelto {

class NSGraphicsContext;

// One representation of an image: pixels, or drawing commands that fit every size. A value; copies share what
// they show, which does not change. THREAD: one at a time for all representations that share it.
class NSImageRep {
 public:
  using Drawing = std::function<void(NSGraphicsContext&)>;

  // Pixels as the drawing leaves them, transparent at first: so many for each point, rounded up, less where a
  // side would have more than 8192. Nothing where there is no memory for them.
  static std::optional<NSImageRep> bitmap(NSSize size, double pixelsPerPoint, const Drawing& draw);
  // What the drawing does is kept and done again wherever the representation is drawn.
  static NSImageRep commands(NSSize size, const Drawing& draw);
  // Takes an image surface over. REQUIRES: it is not null, and nobody changes it any more.
  static NSImageRep withSurface(std::shared_ptr<_cairo_surface> pixels);

  NSSize size() const { return size_; }
  bool isBitmap() const { return isBitmap_; }
  // 0 without pixels.
  int pixelsWide() const { return pixelsWide_; }
  int pixelsHigh() const { return pixelsHigh_; }
  // The pixel, counted from the upper left corner. REQUIRES: there is such a pixel.
  NSColor colorAt(int x, int y) const;
  // The pixels as a PNG file. ERRORS: nothing without pixels.
  std::optional<std::string> PNGRepresentation() const;

  const std::shared_ptr<_cairo_surface>& surface() const { return surface_; }

 private:
  NSImageRep() = default;

  std::shared_ptr<_cairo_surface> surface_;
  NSSize size_;
  bool isBitmap_ = false;
  int pixelsWide_ = 0;
  int pixelsHigh_ = 0;
};

}  // namespace zelto
