// SPDX-License-Identifier: Apache-2.0
// What the stand-ins of the two models look at: weighted sums of the pixels inside the face's
// rectangle. Every place and every channel has a weight of its own, and no figure has an end at
// which it stays, so that a wrong crop, exchanged channels or a stale rectangle show in each of
// them, on a photograph as well as on a drawing. They say nothing about a person.
#ifndef ZY_DEVICE_FACE_MEASURE_H_
#define ZY_DEVICE_FACE_MEASURE_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace device {

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

inline uint64_t Digest(const uint8_t* bytes, size_t size) {
  uint64_t digest = 14695981039346656037u;
  for (size_t i = 0; i < size; ++i) digest = (digest ^ bytes[i]) * 1099511628211u;
  return digest;
}

inline constexpr int kGrid = 8;

// Sums of a rectangle's samples by place, on a grid of kGrid x kGrid cells, and by channel.
struct CellSums {
  int64_t sums[kGrid * kGrid][3] = {};
  int64_t pixels = 0;
  int channels = 0;
};

// `samples` has rows of `width` pixels of `channels` bytes, 1 to 3, without padding.
inline CellSums SumCells(const uint8_t* samples, int channels, int width, const ClippedRect& rect) {
  CellSums cells;
  cells.pixels = rect.Pixels();
  cells.channels = channels;
  const auto border = [](int begin, int end, int cell) {
    return begin + static_cast<int>(int64_t{end - begin} * cell / kGrid);
  };
  for (int cell = 0; cell < kGrid * kGrid; ++cell) {
    const int column = cell % kGrid, row = cell / kGrid;
    const int x_begin = border(rect.x0, rect.x1, column);
    const int x_end = border(rect.x0, rect.x1, column + 1);
    for (int y = border(rect.y0, rect.y1, row); y < border(rect.y0, rect.y1, row + 1); ++y) {
      const uint8_t* sample = samples + (int64_t{y} * width + x_begin) * channels;
      for (int x = x_begin; x < x_end; ++x) {
        for (int c = 0; c < channels; ++c) cells.sums[cell][c] += *sample++;
      }
    }
  }
  return cells;
}

// From -15 to 15, without an order that a turn or a mirror would keep.
inline int WeightOf(uint32_t pattern, int cell, int channel) {
  uint32_t mixed = (pattern * 192 + static_cast<uint32_t>(cell * 3 + channel) + 1) * 2654435761u;
  mixed = (mixed ^ mixed >> 15) * 2246822519u;
  return 2 * static_cast<int>(mixed >> 28) - 15;
}

// How the samples lie around their mean, each by its weight in a pattern, and a part of the mean
// itself; some tens up or down in photographs.
inline float WeightedMean(const CellSums& cells, uint32_t pattern) {
  if (cells.pixels == 0) return 0.0f;
  int64_t total = 0, weighted = 0, weights = 0;
  for (int i = 0; i < kGrid * kGrid * cells.channels; ++i) {
    const int cell = i / cells.channels, channel = i % cells.channels;
    const int weight = WeightOf(pattern, cell, channel);
    total += cells.sums[cell][channel];
    weighted += weight * cells.sums[cell][channel];
    weights += weight;
  }
  const double mean =
      static_cast<double>(total) / static_cast<double>(cells.pixels * cells.channels);
  const double around = static_cast<double>(weighted) / static_cast<double>(cells.pixels) -
                        mean * static_cast<double>(weights) / (kGrid * kGrid);
  return static_cast<float>(around / 16.0 + (mean - 128.0) / 8.0);
}

// Any mean as a figure between `low` and `high`; it comes near them and never reaches them.
inline float Between(float low, float high, float mean) {
  constexpr float kHalfWay = 16.0f;
  const float share = mean / ((mean < 0 ? -mean : mean) + kHalfWay);
  return (low + high + (high - low) * share) * 0.5f;
}

}  // namespace device

#endif  // ZY_DEVICE_FACE_MEASURE_H_
