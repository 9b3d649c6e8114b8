// SPDX-License-Identifier: Apache-2.0
// The kernels of image, sharpen and analysis as plain formulas: one element at a time, in the order
// that matters for overlapping memory.
#ifndef ZY_TESTS_KERNEL_ORACLES_H_
#define ZY_TESTS_KERNEL_ORACLES_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "image/zy_image_buffer.h"

namespace testing_support {

using std::ptrdiff_t;

// Offsets of the bytes in use, from a pointer: from `lowest` (0 or less) up to `end`, exclusive.
struct Reach {
  ptrdiff_t lowest = 0;
  ptrdiff_t end = 0;

  std::size_t Bytes() const { return static_cast<std::size_t>(end - lowest); }

  void Add(ptrdiff_t start, ptrdiff_t bytes) {
    lowest = std::min(lowest, start);
    end = std::max(end, start + bytes);
  }
};

// Returns the reach of a plane, from the lowest row's first byte to the highest row's last.
inline Reach PlaneReach(int width, int height, ptrdiff_t stride) {
  Reach reach;
  if (width < 1 || height < 1) return reach;
  reach.Add(0, width);
  reach.Add((height - 1) * stride, width);
  return reach;
}

// ---- Copies -------------------------------------------------------------------------------------

// One plane of a copy: elements of `size` bytes, columns and rows of the source.
struct CopiedPlane {
  int columns, rows, size;
  ptrdiff_t source_pitch, destination_pitch;
  int rotation;

  ptrdiff_t From(int i, int j) const { return i * source_pitch + j * size; }
  ptrdiff_t To(int i, int j) const {
    const int turn = rotation % 360;
    if (turn == 0) return i * destination_pitch + j * size;
    if (turn == 90) return j * destination_pitch + (rows - 1 - i) * size;
    if (turn == 180) return (rows - 1 - i) * destination_pitch + (columns - 1 - j) * size;
    if (turn == 270) return (columns - 1 - j) * destination_pitch + i * size;
    return i * destination_pitch;
  }
  bool IsEmpty() const { return columns < 1 || rows < 1; }
  // Returns the reaches that are read in the source plane and written in the destination.
  std::pair<Reach, Reach> Touched() const {
    std::pair<Reach, Reach> reach;
    if (IsEmpty()) return reach;
    for (int corner = 0; corner < 4; ++corner) {
      const int i = corner % 2 * (rows - 1), j = corner / 2 * (columns - 1);
      reach.first.Add(From(i, j), size);
      reach.second.Add(To(i, j), size);
    }
    return reach;
  }
};

inline CopiedPlane CopiedPlaneOf(const ZyImageBuffer& dst, const ZyImageBuffer& src, unsigned plane,
                                 int rotation) {
  return {src.width >> plane, src.height >> plane, static_cast<int>(plane + 1),
          src.stride[plane],  dst.stride[plane],   rotation};
}

// Returns whether the arguments are accepted.
inline bool CopyNaively(const ZyImageBuffer& dst, const ZyImageBuffer& src, int rotation) {
  const bool same = dst.width == src.width && dst.height == src.height;
  const bool transposed = dst.width == src.height && dst.height == src.width;
  if (rotation % 90 != 0 || src.format != 1 || dst.format != 1) return false;
  if (!same && !transposed) return false;
  for (unsigned p = 0; p < 2; ++p) {
    const bool missing = src.plane[p] == nullptr || dst.plane[p] == nullptr;
    if (missing && !CopiedPlaneOf(dst, src, p, rotation).IsEmpty()) return false;
  }
  for (unsigned p = 0; p < 2; ++p) {
    const CopiedPlane plane = CopiedPlaneOf(dst, src, p, rotation);
    for (int i = 0; i < plane.rows; ++i) {
      for (int j = 0; j < plane.columns; ++j) {
        uint8_t element[2];
        std::memcpy(element, src.plane[p] + plane.From(i, j), p + 1);
        std::memcpy(dst.plane[p] + plane.To(i, j), element, p + 1);
      }
    }
  }
  return true;
}

// ---- Downscalers --------------------------------------------------------------------------------

// The path of a downscaler through its source: output row y takes `factor` rows, `stride` apart,
// from y * advance on, and the first `columns` bytes of each.
struct ResizeWalk {
  int factor, rows, columns;
  ptrdiff_t stride, advance;

  int outputs() const { return columns / factor; }
  Reach Source() const {
    Reach reach;
    for (int y = 0; y < rows; ++y) {
      for (int r = 0; r < factor; ++r) reach.Add(y * advance + r * stride, columns);
    }
    return reach;
  }
};

// Returns the path; `block` is the number of source columns per block, 0 for the functions without
// blocks.
inline ResizeWalk WalkOf(int factor, int block, int width, int height, int stride) {
  if (width < std::max(factor, block) || height < factor) return {factor, 0, 0, 0, 0};
  const ptrdiff_t rows_apart = factor * ptrdiff_t{stride};
  if (block == 0) return {factor, height / factor, width / factor * factor, stride, rows_apart};
  int consumed = width / block * block;
  if (block == 16 && consumed != width) consumed += 8;
  return {factor, height / factor, consumed, stride, rows_apart + consumed - width};
}

inline void ShrinkNaively(const ResizeWalk& walk, const uint8_t* src, uint8_t* dst) {
  if (src == nullptr || dst == nullptr) return;
  const int area = walk.factor * walk.factor;
  for (int i = 0; i < walk.outputs() * walk.rows; ++i) {
    const uint8_t* block =
        src + i / walk.outputs() * walk.advance + i % walk.outputs() * walk.factor;
    int sum = 0;
    for (int p = 0; p < area; ++p) sum += block[p / walk.factor * walk.stride + p % walk.factor];
    dst[i] = static_cast<uint8_t>(sum / area);
  }
}

// ---- Sharpening ---------------------------------------------------------------------------------

struct Weights {
  int8_t corner, centre, edge;
};

inline constexpr Weights kSharpen{-3, 76, -12};

// The arguments of any filter: `width` x `height` samples, source rows `stride` bytes apart.
// Smoothing uses `dst` alone.
struct FilterCall {
  const uint8_t* src;
  const uint8_t* mask;
  uint8_t* dst;
  int width, height, stride;
  Weights weights;

  unsigned columns() const { return static_cast<unsigned>(width); }
  unsigned rows() const { return static_cast<unsigned>(height); }
};

inline uint8_t Filtered(const FilterCall& c, int x, int y) {
  const uint8_t* pixel = c.src + y * ptrdiff_t{c.stride} + x;
  const uint8_t* above = pixel - c.stride;
  const uint8_t* below = pixel + c.stride;
  const int sum = c.weights.corner * (above[-1] + above[1] + below[-1] + below[1]) +
                  c.weights.edge * (above[0] + below[0] + pixel[-1] + pixel[1]) +
                  c.weights.centre * pixel[0];
  return static_cast<uint8_t>(std::clamp(sum, 0, 4080) / 16);
}

inline void FilterNaively(const FilterCall& c) {
  if (c.src == nullptr || c.dst == nullptr) return;
  for (int y = 1; y + 1 < c.height; ++y) {
    for (int x = 1; x + 1 < c.width; ++x) c.dst[y * c.width + x] = Filtered(c, x, y);
  }
}

inline void FilterMarkedNaively(const FilterCall& c) {
  if (c.src == nullptr || c.mask == nullptr || c.dst == nullptr) return;
  for (int y = 2; y + 2 < c.height / 2 * 2; ++y) {
    for (int x = 2; x + 2 < c.width / 2 * 2; ++x) {
      if (c.mask[y / 2 * (c.width / 2) + x / 2] == 0) continue;
      c.dst[y * c.width + x] = Filtered(c, x, y);
    }
  }
}

inline void SmoothNaively(const FilterCall& c) {
  if (c.dst == nullptr) return;
  const std::vector<uint8_t> entry(c.dst, c.dst + PlaneReach(c.width, c.height, c.width).Bytes());
  for (int y = 2; y + 2 < c.height; ++y) {
    for (int x = 2; x + 2 < c.width; ++x) {
      const uint8_t* pixel = entry.data() + y * c.width + x;
      int sum = 0;
      for (int i = 0; i < 9; ++i) {
        const int weight = (i / 3 == 1 ? 2 : 1) * (i % 3 == 1 ? 2 : 1);
        sum += weight * pixel[(i / 3 - 1) * c.width + i % 3 - 1];
      }
      c.dst[y * c.width + x] = static_cast<uint8_t>(sum / 16);
    }
  }
}

// ---- Upright images -----------------------------------------------------------------------------

inline uint8_t ClippedColour(int k) {
  return static_cast<uint8_t>(std::clamp(((k - 16) * 76283 + 32768) >> 16, 0, 255));
}

inline void ColourNaively(int y, int u, int v, uint8_t* bgr) {
  bgr[0] = ClippedColour(y + ((113618 * (u - 128) + 32768) >> 16));
  bgr[1] = ClippedColour(y + ((-22014 * (u - 128) + 32768 - 45773 * (v - 128)) >> 16));
  bgr[2] = ClippedColour(y + ((89858 * (v - 128) + 32768) >> 16));
}

// A frame of width x height without gaps, and its orientation.
struct UprightCall {
  int orientation, flip, width, height;

  bool RowsStay() const { return orientation == 270 || orientation == 90; }
  int columns() const { return (RowsStay() ? width : height) / 2; }
  int rows() const { return (RowsStay() ? height : width) / 2; }
  int pixels() const { return width < 2 || height < 2 ? 0 : columns() * rows(); }
  // Returns the source pixel (x, y) of output pixel (c, r).
  std::pair<int, int> Source(int c, int r) const {
    if (orientation == 270) return {2 * c, 2 * r};
    if (orientation == 90) return {width - 2 - 2 * c, height - 1 - 2 * r};
    if (orientation == 0 && flip == 1) return {width - 2 - 2 * r, height - 1 - 2 * c};
    if (orientation == 0) return {2 * r, height - 2 - 2 * c};
    if (flip == 1) return {2 * r, 2 * c};
    return {width - 2 - 2 * r, 2 * c};
  }
};

inline void ConvertNaively(const UprightCall& call, const uint8_t* luma, const uint8_t* chroma,
                           uint8_t* gray, uint8_t* bgr) {
  if (luma == nullptr || chroma == nullptr || gray == nullptr || bgr == nullptr) return;
  for (int i = 0; i < call.pixels(); ++i) {
    const auto [x, y] = call.Source(i % call.columns(), i / call.columns());
    const int chroma_row = std::min(y / 2, call.height / 2 - 1);
    const uint8_t* pair = chroma + chroma_row * call.width + std::min(x, call.width / 2 * 2 - 2);
    gray[i] = luma[y * call.width + x];
    const bool v_first = call.orientation == 0 && call.flip != 1;
    ColourNaively(gray[i], pair[v_first], pair[!v_first], bgr + 3 * i);
  }
}

}  // namespace testing_support

#endif  // ZY_TESTS_KERNEL_ORACLES_H_
