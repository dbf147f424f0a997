#pragma once

namespace zelto {

// In points. The origin of pictures is their lower left corner, y grows upwards.
struct NSPoint {
  double x = 0;
  double y = 0;

  friend bool operator==(const NSPoint&, const NSPoint&) = default;
};

struct NSSize {
  double width = 0;
  double height = 0;

  friend bool operator==(const NSSize&, const NSSize&) = default;
};

// Each from 0 to 1; the colours are not multiplied by alpha.
struct NSColor {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 1;

  friend bool operator==(const NSColor&, const NSColor&) = default;
};

}  // namespace zelto
