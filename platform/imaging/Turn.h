#pragma once

#include <cmath>
#include <numbers>

namespace zelto {

struct Turn {
  double cosine;
  double sine;
};

// Of a quarter of a turn and its multiples exactly, so that sizes and pixels stay whole.
inline Turn turnByDegrees(double degrees) {
  const double quarters = std::remainder(degrees, 360) / 90;
  if (quarters == 0) return {1, 0};
  if (quarters == 1) return {0, 1};
  if (quarters == -1) return {0, -1};
  if (std::fabs(quarters) == 2) return {-1, 0};
  const double radians = degrees * (std::numbers::pi / 180);
  return {std::cos(radians), std::sin(radians)};
}

}  // namespace zelto
