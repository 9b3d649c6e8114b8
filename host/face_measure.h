// SPDX-License-Identifier: Apache-2.0
// What the stand-ins of the two models look at: plain figures of the pixels inside the face's
// rectangle. They depend on every input, so that a wrong crop, swapped channels or a stale
// rectangle show in the results. They say nothing about a person.
#ifndef ZY_HOST_FACE_MEASURE_H_
#define ZY_HOST_FACE_MEASURE_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace host {

// Figures of a rectangle that is clipped to the image; all 0 when nothing of it lies inside.
struct FaceMeasure {
  float blue;
  float green;
  float red;
  float contrast;  // mean distance of the brightness from its mean
  float slope;     // brightness of the upper half less that of the lower half
  float area;      // share of the image
};

// The part of the image that lies inside a rectangle.
struct ClippedRect {
  ClippedRect(int width, int height, int left, int top, int right, int bottom)
      : x0(std::clamp(left, 0, width)),
        y0(std::clamp(top, 0, height)),
        x1(std::clamp(right, x0, width)),
        y1(std::clamp(bottom, y0, height)) {}

  int64_t Pixels() const { return int64_t{x1 - x0} * (y1 - y0); }

  int x0, y0, x1, y1;
};

inline float Ratio(int64_t part, int64_t whole) {
  return whole == 0 ? 0.0f
                    : static_cast<float>(static_cast<double>(part) / static_cast<double>(whole));
}

inline uint64_t Digest(const uint8_t* bytes, size_t size) {
  uint64_t digest = 14695981039346656037u;
  for (size_t i = 0; i < size; ++i) digest = (digest ^ bytes[i]) * 1099511628211u;
  return digest;
}

// The mean of a luma image with rows of `width` bytes.
inline float MeanLuma(const uint8_t* gray, int width, const ClippedRect& rect) {
  int64_t sum = 0;
  for (int y = rect.y0; y < rect.y1; ++y) {
    for (int x = rect.x0; x < rect.x1; ++x) sum += gray[int64_t{y} * width + x];
  }
  return Ratio(sum, rect.Pixels());
}

// `rgb` has width x height pixels of blue, green, red without padding.
inline FaceMeasure MeasureFace(const uint8_t* rgb, int width, int height, const ClippedRect& rect) {
  const int64_t pixels = rect.Pixels();
  if (pixels == 0) return {};
  int64_t sums[3] = {}, halves[2] = {}, distance = 0;
  const auto for_each_pixel = [&](auto visit) {
    for (int y = rect.y0; y < rect.y1; ++y) {
      for (int x = rect.x0; x < rect.x1; ++x) visit(rgb + (int64_t{y} * width + x) * 3, y);
    }
  };
  for_each_pixel([&](const uint8_t* pixel, int y) {
    for (int channel = 0; channel < 3; ++channel) sums[channel] += pixel[channel];
    halves[2 * (y - rect.y0) < rect.y1 - rect.y0 ? 0 : 1] += pixel[0] + 2 * pixel[1] + pixel[2];
  });
  const int64_t mean = (halves[0] + halves[1]) / (4 * pixels);
  for_each_pixel([&](const uint8_t* pixel, int) {
    distance += std::abs((pixel[0] + 2 * pixel[1] + pixel[2]) / 4 - mean);
  });
  return {Ratio(sums[0], pixels),
          Ratio(sums[1], pixels),
          Ratio(sums[2], pixels),
          Ratio(distance, pixels),
          Ratio(halves[0] - halves[1], 4 * pixels),
          Ratio(pixels, int64_t{width} * height)};
}

}  // namespace host

#endif  // ZY_HOST_FACE_MEASURE_H_
