// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_COMMON_GEOMETRY_H_
#define ZY_COMMON_GEOMETRY_H_

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

#include "common/failure.h"

namespace common {

// A rectangle in picture pixels; the edges x + w and y + h are exclusive.
struct Rect {
  int x;
  int y;
  int w;
  int h;
};

// Returns a rectangle from outside, limited so that its sums fit an int. No picture is that large.
constexpr Rect ClampedRect(int64_t x, int64_t y, int64_t w, int64_t h) {
  const auto clamp = [](int64_t number) {
    return static_cast<int>(std::clamp<int64_t>(number, -(1 << 24), 1 << 24));
  };
  return {clamp(x), clamp(y), clamp(w), clamp(h)};
}

constexpr bool operator==(const Rect& a, const Rect& b) {
  return a.x == b.x && a.y == b.y && a.w == b.w && a.h == b.h;
}

struct Size {
  int width = 0;
  int height = 0;
};

inline constexpr int kMaxSide = 16384;
inline constexpr int64_t kMaxPixels = int64_t{1} << 27;

// Formats a size: "1280x720".
inline std::string SizeText(int64_t width, int64_t height) {
  return std::to_string(width) + "x" + std::to_string(height);
}

// Fails unless the lab accepts pictures of this size: 1..kMaxSide in either direction and at most
// kMaxPixels. Checked before allocating for a size from a file or an option.
inline Failure CheckSize(int64_t width, int64_t height) {
  const bool has_usable_sides =
      width >= 1 && height >= 1 && width <= kMaxSide && height <= kMaxSide;
  if (has_usable_sides && width * height <= kMaxPixels) return std::nullopt;
  return Fail("size " + SizeText(width, height) + " is outside the limits: 1 to " +
              std::to_string(kMaxSide) + " a side and at most " + std::to_string(kMaxPixels >> 20) +
              " Mi pixels");
}

// Returns the number of pixels in both.
inline int64_t Overlap(const Rect& a, const Rect& b) {
  const int64_t width = std::min(int64_t{a.x} + a.w, int64_t{b.x} + b.w) - std::max(a.x, b.x);
  const int64_t height = std::min(int64_t{a.y} + a.h, int64_t{b.y} + b.h) - std::max(a.y, b.y);
  return std::max<int64_t>(width, 0) * std::max<int64_t>(height, 0);
}

// Returns half of a length in pixels, rounded up: the number of chroma samples.
constexpr int HalfUp(int length) { return length / 2 + length % 2; }

}  // namespace common

#endif  // ZY_COMMON_GEOMETRY_H_
