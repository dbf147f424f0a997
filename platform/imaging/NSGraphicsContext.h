#pragma once

#include <memory>
#include <string_view>

#include "platform/imaging/NSGeometry.h"

struct _cairo;
struct _cairo_surface;

namespace zelto {

class NSImage;

// Draws into a representation while that is made. What is drawn goes through the transform, each new part of
// which applies before those that were there. THREAD: one.
class NSGraphicsContext {
 public:
  NSGraphicsContext(const std::shared_ptr<_cairo_surface>& target, double height, double pixelsPerPoint);
  ~NSGraphicsContext();
  NSGraphicsContext(const NSGraphicsContext&) = delete;
  NSGraphicsContext& operator=(const NSGraphicsContext&) = delete;

  void translate(NSPoint by);
  // Counterclockwise. A quarter turn moves pixels exactly.
  void rotateByDegrees(double degrees);

  void fillRect(NSPoint origin, NSSize size, NSColor color);
  // The image in its size with its lower left corner there. The fraction is its opacity, from 0 to 1.
  void drawImage(const NSImage& image, NSPoint at, double fraction);
  // The text in the system font with the lower left corner of its first line's box there. Bytes that are not
  // UTF-8 and NULs show as replacement characters; after 4096 bytes the text is cut.
  void drawText(std::string_view text, double pointSize, NSColor color, NSPoint at);

 private:
  std::unique_ptr<_cairo, void (*)(_cairo*)> context_;
};

}  // namespace zelto
