// SPDX-License-Identifier: Apache-2.0
// Figures of the fake models: weighted sums of the pixels inside the face's rectangle. Every place
// and channel has its own weight, and no figure saturates. So a wrong crop, exchanged channels or a
// stale rectangle change each of them, on photographs and drawings. They mean nothing about a
// person.
#ifndef ZY_DEVICE_FACE_MEASURE_H_
#define ZY_DEVICE_FACE_MEASURE_H_

#include <algorithm>
#include <cstdint>

#include "device/control.h"

namespace device {

inline constexpr int kGrid = 8;

// Sums of a rectangle's samples per cell, on a grid of kGrid x kGrid cells, and per channel.
struct CellSums {
  int64_t sums[kGrid * kGrid][3] = {};
  int64_t pixels = 0;
  int channels = 0;
};

// Sums the part of the face inside the image. `samples` has rows of call.width pixels of `channels`
// bytes, 1 to 3, without padding.
inline CellSums SumCells(const uint8_t* samples, int channels, const ModelCall& call) {
  const int x0 = std::clamp(call.left, 0, call.width), x1 = std::clamp(call.right, x0, call.width);
  const int y0 = std::clamp(call.top, 0, call.height),
            y1 = std::clamp(call.bottom, y0, call.height);
  CellSums cells;
  cells.pixels = int64_t{x1 - x0} * (y1 - y0);
  cells.channels = channels;
  const auto border = [](int begin, int end, int cell) {
    return begin + static_cast<int>(int64_t{end - begin} * cell / kGrid);
  };
  for (int cell = 0; cell < kGrid * kGrid; ++cell) {
    const int column = cell % kGrid, row = cell / kGrid;
    const int x_begin = border(x0, x1, column);
    const int x_end = border(x0, x1, column + 1);
    for (int y = border(y0, y1, row); y < border(y0, y1, row + 1); ++y) {
      const uint8_t* sample = samples + (int64_t{y} * call.width + x_begin) * channels;
      for (int x = x_begin; x < x_end; ++x) {
        for (int c = 0; c < channels; ++c) cells.sums[cell][c] += *sample++;
      }
    }
  }
  return cells;
}

// Returns -15 to 15, without a symmetry under rotation or mirroring.
inline int WeightOf(uint32_t pattern, int cell, int channel) {
  uint32_t mixed = (pattern * 192 + static_cast<uint32_t>(cell * 3 + channel) + 1) * 2654435761u;
  mixed = (mixed ^ mixed >> 15) * 2246822519u;
  return 2 * static_cast<int>(mixed >> 28) - 15;
}

// Returns the deviation of the samples from their mean, weighted by a pattern, plus a part of the
// mean; within some tens of 0 for photographs.
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

// Maps any mean to a figure between `low` and `high`, exclusive.
inline float Between(float low, float high, float mean) {
  constexpr float kHalfWay = 16.0f;
  const float share = mean / ((mean < 0 ? -mean : mean) + kHalfWay);
  return (low + high + (high - low) * share) * 0.5f;
}

}  // namespace device

#endif  // ZY_DEVICE_FACE_MEASURE_H_
