#pragma once

#include <expected>
#include <memory>
#include <string>
#include <vector>

#include "platform/foundation/NSError.h"
#include "platform/imaging/NSGeometry.h"
#include "platform/imaging/NSImageRep.h"

namespace zelto {

class NSImage;
using NSImagePtr = std::shared_ptr<const NSImage>;

// A picture of a size, with any number of representations of it (none: it is transparent). Immutable and
// shared. THREAD: as its representations.
class NSImage {
 public:
  // A side that is no number, or less than 0, is 0.
  NSImage(NSSize size, std::vector<NSImageRep> representations);
  // One bitmap with what the drawing leaves.
  static NSImagePtr drawn(NSSize size, double pixelsPerPoint, const NSImageRep::Drawing& draw);
  // A PNG file, or an icon file (ICNS) with all its pictures in the order of the file; its size is the
  // largest's. ERRORS: Cocoa 259, for a file that cannot be read, is no such file, or is larger than 64 MiB
  // or 64 megapixels.
  static std::expected<NSImagePtr, NSError> imageWithContentsOfFile(const std::string& path);

  NSSize size() const { return size_; }
  const std::vector<NSImageRep>& representations() const { return representations_; }
  // The one with the most pixels, else the first; null without any.
  const NSImageRep* bestRepresentation() const;

 private:
  NSSize size_;
  std::vector<NSImageRep> representations_;
};

}  // namespace zelto
