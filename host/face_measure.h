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

// Means over a rectangle that is clipped to the image; all 0 when nothing of it lies inside.
struct FaceMeasure {
  float blue;
  float green;
  float red;
  float luma;
  float contrast;  // mean distance of luma from its mean
  float area;      // share of the image
};

inline uint64_t Digest(const uint8_t* bytes, size_t size) {
  uint64_t digest = 14695981039346656037u;
  for (size_t i = 0; i < size; ++i) digest = (digest ^ bytes[i]) * 1099511628211u;
  return digest;
}

// `rgb` has width x height pixels of blue, green, red without padding.
inline FaceMeasure MeasureFace(const uint8_t* rgb, int width, int height, int left, int top,
                               int right, int bottom) {
  const int x0 = std::clamp(left, 0, width), x1 = std::clamp(right, x0, width);
  const int y0 = std::clamp(top, 0, height), y1 = std::clamp(bottom, y0, height);
  const int64_t pixels = int64_t{x1 - x0} * (y1 - y0);
  if (pixels == 0) return {};
  int64_t sums[3] = {};
  const auto for_each_pixel = [&](auto visit) {
    for (int y = y0; y < y1; ++y) {
      for (int x = x0; x < x1; ++x) visit(rgb + (int64_t{y} * width + x) * 3);
    }
  };
  for_each_pixel([&](const uint8_t* pixel) {
    for (int channel = 0; channel < 3; ++channel) sums[channel] += pixel[channel];
  });
  const int64_t mean = (sums[0] + 2 * sums[1] + sums[2]) / (4 * pixels);
  int64_t distance = 0;
  for_each_pixel([&](const uint8_t* pixel) {
    distance += std::abs((pixel[0] + 2 * pixel[1] + pixel[2]) / 4 - mean);
  });
  const auto per_pixel = [&](int64_t sum) {
    return static_cast<float>(static_cast<double>(sum) / static_cast<double>(pixels));
  };
  return {per_pixel(sums[0]),
          per_pixel(sums[1]),
          per_pixel(sums[2]),
          per_pixel(sums[0] + 2 * sums[1] + sums[2]) / 4,
          per_pixel(distance),
          static_cast<float>(static_cast<double>(pixels) / (double(width) * height))};
}

}  // namespace host

#endif  // ZY_HOST_FACE_MEASURE_H_
