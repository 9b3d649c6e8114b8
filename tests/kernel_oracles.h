// SPDX-License-Identifier: Apache-2.0
// What the kernels of image and sharpen must give, by the plain formula: one element at a time, in
// the order that overlapping memory shows. Tests and fuzz targets compare with it.
#ifndef ZY_TESTS_KERNEL_ORACLES_H_
#define ZY_TESTS_KERNEL_ORACLES_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "image/resize.h"
#include "image/variants.h"
#include "image/zy_copy_buffer.h"
#include "image/zy_image_buffer.h"
#include "sharpen/array_helpers.h"
#include "sharpen/filter_corr3x3.h"
#include "sharpen/sharpen_y.h"
#include "sharpen/skin_map.h"
#include "sharpen/variants.h"

namespace testing_support {

using std::ptrdiff_t;

// Offsets of bytes that are touched, from a pointer: `lowest` (0 or less) up to but without `end`.
struct Reach {
  ptrdiff_t lowest = 0;
  ptrdiff_t end = 0;

  std::size_t Bytes() const { return static_cast<std::size_t>(end - lowest); }

  void Add(ptrdiff_t start, ptrdiff_t bytes) {
    lowest = std::min(lowest, start);
    end = std::max(end, start + bytes);
  }
};

// ---- Copies -------------------------------------------------------------------------------------

// One plane of a copy: elements of `size` bytes.
struct NaiveCopy {
  int columns, rows, size;
  ptrdiff_t source_pitch, destination_pitch;
  int rotation;

  ptrdiff_t From(int i, int j) const { return i * source_pitch + j * size; }
  ptrdiff_t To(int i, int j) const {
    switch (rotation % 360) {
      case 0:
        return i * destination_pitch + j * size;
      case 90:
        return j * destination_pitch + (rows - 1 - i) * size;
      case 180:
        return (rows - 1 - i) * destination_pitch + (columns - 1 - j) * size;
      case 270:
        return (columns - 1 - j) * destination_pitch + i * size;
      default:
        return i * destination_pitch;
    }
  }
  // What is read from the source plane and written to the destination's.
  std::pair<Reach, Reach> Touched() const {
    std::pair<Reach, Reach> reach;
    if (columns < 1 || rows < 1) return reach;
    for (int corner = 0; corner < 4; ++corner) {
      const int i = corner % 2 * (rows - 1), j = corner / 2 * (columns - 1);
      reach.first.Add(From(i, j), size);
      reach.second.Add(To(i, j), size);
    }
    return reach;
  }
};

inline NaiveCopy NaiveCopyOf(const ZyImageBuffer& dst, const ZyImageBuffer& src, unsigned plane,
                             int rotation) {
  return {src.width >> plane, src.height >> plane, static_cast<int>(plane + 1),
          src.stride[plane],  dst.stride[plane],   rotation};
}

inline bool IsCopy(const ZyImageBuffer& dst, const ZyImageBuffer& src, int rotation) {
  const bool same = dst.width == src.width && dst.height == src.height;
  const bool transposed = dst.width == src.height && dst.height == src.width;
  return src.format == kZyFormatYuv420SemiPlanar && dst.format == kZyFormatYuv420SemiPlanar &&
         (same || transposed) && rotation % 90 == 0;
}

// Returns whether there was something to copy.
inline bool CopyNaively(const ZyImageBuffer& dst, const ZyImageBuffer& src, int rotation) {
  if (!IsCopy(dst, src, rotation)) return false;
  for (unsigned p = 0; p < 2; ++p) {
    const NaiveCopy copy = NaiveCopyOf(dst, src, p, rotation);
    for (int i = 0; i < copy.rows; ++i) {
      for (int j = 0; j < copy.columns; ++j) {
        uint8_t element[2];
        std::memcpy(element, src.plane[p] + copy.From(i, j), static_cast<std::size_t>(copy.size));
        std::memcpy(dst.plane[p] + copy.To(i, j), element, static_cast<std::size_t>(copy.size));
      }
    }
  }
  return true;
}

// The public routine, which runs the best rows, and the scalar rows.
inline int32_t CopyScalar(ZyImageBuffer* dst, const ZyImageBuffer* src, int32_t rotation) {
  return ZyCopyBufferVariant(KernelVariant::kScalar, dst, src, rotation);
}
inline constexpr int32_t (*kCopies[])(ZyImageBuffer*, const ZyImageBuffer*, int32_t) = {
    CopyScalar, ZyCopyBuffer};

// ---- Downscalers --------------------------------------------------------------------------------

struct Downscaler {
  const char* name;
  void (*run)(const unsigned char*, unsigned char*, int, int, int);
  int factor;
  int min_width;
  int block;  // source columns in a block; 0 for the plain loops
};

template <auto kFunction, KernelVariant kVariant>
void ResizeRows(const unsigned char* src, unsigned char* dst, int width, int height, int stride) {
  kFunction(kVariant, src, dst, width, height, stride);
}

inline constexpr auto kScalarRows = KernelVariant::kScalar;
inline constexpr auto kVectorRows = KernelVariant::kVector;

inline constexpr Downscaler kDownscalers[] = {
    {"half", resize_half, 2, 2, 0},
    {"quarter", resize_quarter, 4, 4, 0},
    {"half blocks", resize_halfUseNeon, 2, 16, 16},
    {"quarter blocks", resize_quarterUseNeon, 4, 16, 16},
    {"eighth blocks", resize_eighthUseNeon, 8, 8, 8},
    {"half blocks, vector", ResizeRows<resize_halfUseNeonVariant, kVectorRows>, 2, 16, 16},
    {"quarter blocks, vector", ResizeRows<resize_quarterUseNeonVariant, kVectorRows>, 4, 16, 16},
    {"eighth blocks, vector", ResizeRows<resize_eighthUseNeonVariant, kVectorRows>, 8, 8, 8},
    {"half blocks, scalar", ResizeRows<resize_halfUseNeonVariant, kScalarRows>, 2, 16, 16},
    {"quarter blocks, scalar", ResizeRows<resize_quarterUseNeonVariant, kScalarRows>, 4, 16, 16},
    {"eighth blocks, scalar", ResizeRows<resize_eighthUseNeonVariant, kScalarRows>, 8, 8, 8},
};

// How a downscaler goes through its source: where output row y looks for its rows, and what it
// takes from each.
struct ResizeWalk {
  int factor, rows, columns;
  ptrdiff_t stride, advance;

  int outputs() const { return columns / factor; }
  std::size_t OutputBytes() const { return static_cast<std::size_t>(outputs() * rows); }
  Reach Source() const {
    Reach reach;
    for (int r = 0; r < rows * factor; ++r) {
      reach.Add(r / factor * advance + r % factor * stride, columns);
    }
    return reach;
  }
};

inline ResizeWalk WalkOf(const Downscaler& d, int width, int height, int stride) {
  if (width < d.min_width || height < d.factor) return {d.factor, 0, 0, 0, 0};
  const ptrdiff_t advance = d.factor * ptrdiff_t{stride};
  if (d.block == 0) {
    return {d.factor, height / d.factor, width / d.factor * d.factor, stride, advance};
  }
  int columns = width - width % d.block;
  if (d.block == 16 && columns != width) columns += 8;
  return {d.factor, height / d.factor, columns, stride, advance + columns - width};
}

inline void ShrinkNaively(const ResizeWalk& walk, const uint8_t* src, uint8_t* dst) {
  const int area = walk.factor * walk.factor;
  for (int i = 0; i < static_cast<int>(walk.OutputBytes()); ++i) {
    const uint8_t* block =
        src + i / walk.outputs() * walk.advance + i % walk.outputs() * walk.factor;
    int sum = 0;
    for (int p = 0; p < area; ++p) sum += block[p / walk.factor * walk.stride + p % walk.factor];
    dst[i] = static_cast<uint8_t>(sum / area);
  }
}

// ---- Sharpening ---------------------------------------------------------------------------------

struct Weights {
  int corner;
  int centre;
  int edge;
};

inline constexpr Weights kSharpen{-3, 76, -12};

// One call of a routine of the kit, which takes of it what it needs: `width` x `height` samples,
// source rows `stride` bytes apart.
struct FilterCall {
  const uint8_t* src;
  const uint8_t* mask;
  uint8_t* dst;
  int width, height, stride;
  Weights weights;
};

// A whole plane, from the lowest row's first sample to the highest row's last.
inline Reach PlaneReach(int width, int height, int stride) {
  Reach reach;
  for (int y = 0; y < height && width > 0; ++y) reach.Add(y * ptrdiff_t{stride}, width);
  return reach;
}

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
  for (int y = 1; y < c.height - 1; ++y) {
    for (int x = 1; x < c.width - 1; ++x) c.dst[y * c.width + x] = Filtered(c, x, y);
  }
}

inline void FilterMarkedNaively(const FilterCall& c) {
  for (int y = 2; y < c.height / 2 * 2 - 2; ++y) {
    for (int x = 2; x < c.width / 2 * 2 - 2; ++x) {
      const bool marked = c.mask[y / 2 * (c.width / 2) + x / 2] != 0;
      if (marked) c.dst[y * c.width + x] = Filtered(c, x, y);
    }
  }
}

inline void SmoothNaively(const FilterCall& c) {
  const std::size_t size = PlaneReach(c.width, c.height, c.width).Bytes();
  const std::vector<uint8_t> entry(c.dst, c.dst + size);
  for (int y = 2; y < c.height - 2; ++y) {
    for (int x = 2; x < c.width - 2; ++x) {
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

// The public routines, which run the best rows, and the scalar rows of those that have two kinds.
inline void RunFilter(const FilterCall& c) {
  filterCorr3x3s8_v2(c.src, c.dst, static_cast<unsigned>(c.width), static_cast<unsigned>(c.height),
                     static_cast<signed char>(c.weights.corner),
                     static_cast<signed char>(c.weights.centre),
                     static_cast<signed char>(c.weights.edge), c.stride);
}
inline void RunScalarFilter(const FilterCall& c) {
  filterCorr3x3s8_v2Variant(
      kScalarRows, c.src, c.dst, static_cast<unsigned>(c.width), static_cast<unsigned>(c.height),
      static_cast<signed char>(c.weights.corner), static_cast<signed char>(c.weights.centre),
      static_cast<signed char>(c.weights.edge), c.stride);
}
inline void RunSharpen(const FilterCall& c) { sharpenY(c.src, c.dst, c.width, c.height, c.stride); }
inline void RunScalarSharpen(const FilterCall& c) {
  sharpenYVariant(kScalarRows, c.src, c.dst, c.width, c.height, c.stride);
}
inline void RunMarkedFilter(const FilterCall& c) {
  filterCorr3x3s8_v2WithskinMap(
      c.src, c.mask, c.dst, static_cast<unsigned>(c.width), static_cast<unsigned>(c.height),
      static_cast<signed char>(c.weights.corner), static_cast<signed char>(c.weights.centre),
      static_cast<signed char>(c.weights.edge), c.stride);
}
inline void RunMarkedSharpen(const FilterCall& c) {
  sharpenYWithSkinMap(c.src, c.dst, c.mask, c.width, c.height, c.stride);
}
inline void RunSmooth(const FilterCall& c) {
  smoothSkinMapGaussian(c.dst, static_cast<unsigned>(c.width), static_cast<unsigned>(c.height));
}
inline void RunScalarSmooth(const FilterCall& c) {
  smoothSkinMapGaussianVariant(kScalarRows, c.dst, static_cast<unsigned>(c.width),
                               static_cast<unsigned>(c.height));
}

// A routine and what it must do. One that takes no weights has those of its own.
struct FilterRoutine {
  void (*run)(const FilterCall&);
  void (*naive)(const FilterCall&);
  bool takes_weights;
};

inline constexpr FilterRoutine kFilterRoutines[] = {
    {RunFilter, FilterNaively, true},
    {RunScalarFilter, FilterNaively, true},
    {RunSharpen, FilterNaively, false},
    {RunScalarSharpen, FilterNaively, false},
    {RunMarkedFilter, FilterMarkedNaively, true},
    {RunMarkedSharpen, FilterMarkedNaively, false},
    {RunSmooth, SmoothNaively, false},
    {RunScalarSmooth, SmoothNaively, false},
};

// ---- Array shapes -------------------------------------------------------------------------------

// Whether element i of a three-dimensional shape is the i-th behind the first. Writes each.
template <typename T>
bool IsRowMajor(T*** cube, int planes, int rows, int cols) {
  for (int i = 0; i < planes * rows * cols; ++i) {
    T& element = cube[i / cols / rows][i / cols % rows][i % cols];
    if (&element != cube[0][0] + i) return false;
    element = static_cast<T>(i);
  }
  return true;
}

// Builds and releases each of the four shapes, the views over `image`, planes * rows * cols bytes
// that are not null; no count is negative.
inline bool AreRowMajor(unsigned char* image, int planes, int rows, int cols) {
  float** matrix = allocD2(rows, cols);
  float*** cube = allocD3(planes, rows, cols);
  unsigned char** flat = convertU1ToU2(image, planes * rows, cols);
  unsigned char*** deep = convertU1ToU3(image, planes, rows, cols);
  const bool row_major =
      matrix != nullptr && cube != nullptr && flat != nullptr && deep != nullptr &&
      IsRowMajor(&matrix, 1, rows, cols) && IsRowMajor(cube, planes, rows, cols) &&
      IsRowMajor(&flat, 1, planes * rows, cols) && IsRowMajor(deep, planes, rows, cols);
  freeD2(matrix);
  freeD3(cube);
  freeConvertedU2(flat);
  freeConvertedU3(deep);
  return row_major;
}

}  // namespace testing_support

#endif  // ZY_TESTS_KERNEL_ORACLES_H_
