// SPDX-License-Identifier: Apache-2.0
// The row walk that the correlation filter and the luma sharpener share. Internal to the kit.
#ifndef ZY_SHARPEN_CORR3X3_ROWS_H_
#define ZY_SHARPEN_CORR3X3_ROWS_H_

#include <cstddef>
#include <cstdint>

#include "base/neon.h"

namespace corr3x3 {

struct Weights {
  int corner;
  int centre;
  int edge;
};

// Three neighbouring source rows, each from its column 0.
struct Window {
  const uint8_t* above;
  const uint8_t* middle;
  const uint8_t* below;
};

// One column of a window.
struct Column {
  int ends;  // above + below
  int middle;
};

inline Column ColumnAt(const Window& rows, std::ptrdiff_t x) {
  return {rows.above[x] + rows.below[x], rows.middle[x]};
}

inline uint8_t Pixel(const Weights& weights, const Column& left, const Column& own,
                     const Column& right) {
  const int corners = left.ends + right.ends;
  const int edges = own.ends + left.middle + right.middle;
  const int sum = weights.corner * corners + weights.edge * edges + weights.centre * own.middle;
  const int clamped = sum < 0 ? 0 : sum >= 4080 ? 4080 : sum;
  return static_cast<uint8_t>(clamped >> 4);  // 0..255
}

// Columns x to end - 1 of one row, two a step. Each has a column on either side.
inline void ScalarPixels(const Weights& weights, const Window& rows, uint8_t* dst, std::ptrdiff_t x,
                         std::ptrdiff_t end) {
  if (x >= end) return;
  Column left = ColumnAt(rows, x - 1);
  Column own = ColumnAt(rows, x);
  for (; x + 2 <= end; x += 2) {
    const Column right = ColumnAt(rows, x + 1);
    const Column next = ColumnAt(rows, x + 2);
    dst[x] = Pixel(weights, left, own, right);
    dst[x + 1] = Pixel(weights, own, right, next);
    left = right;
    own = next;
  }
  if (x < end) dst[x] = Pixel(weights, left, own, ColumnAt(rows, x + 1));
}

// Calls row(window, destination row) for each row that has a row above and below. Sizes that leave
// no such row or column, and null planes, call nothing. Sizes beyond INT_MAX count as negative.
template <class RowFunction>
void ForEachInteriorRow(const uint8_t* src, uint8_t* dst, unsigned width, unsigned height,
                        std::ptrdiff_t stride, RowFunction row) {
  const auto rows = static_cast<int>(height);
  if (src == nullptr || dst == nullptr || static_cast<int>(width) < 3 || rows < 3) return;
  for (std::ptrdiff_t y = 1; y < rows - 1; ++y) {
    const uint8_t* middle = src + y * stride;
    row(Window{middle - stride, middle, middle + stride},
        dst + y * static_cast<std::ptrdiff_t>(width));
  }
}

inline void ScalarRows(const Weights& weights, const uint8_t* src, uint8_t* dst, unsigned width,
                       unsigned height, std::ptrdiff_t stride) {
  ForEachInteriorRow(src, dst, width, height, stride, [&](const Window& rows, uint8_t* out) {
    ScalarPixels(weights, rows, out, 1, static_cast<std::ptrdiff_t>(width) - 1);
  });
}

#if ZY_HAVE_NEON

// A Kernel tells what sixteen columns of the window contribute: Gather gives them as Columns of two
// halves, low and high. Sum adds up the eight sums of the pixels whose right-hand neighbours are
// the columns of `right`; `left` are the eight columns before those, of which the last two count.

// Pixels x to x + 15. `left` and the result are the columns up to x and up to x + 16.
template <class Kernel>
[[gnu::always_inline]] inline typename Kernel::Half Step16(const Kernel& kernel, const Window& rows,
                                                           uint8_t* dst, std::ptrdiff_t x,
                                                           const typename Kernel::Half& left) {
  const auto [low, high] = kernel.Gather(
      vld1q_u8(rows.above + x + 1), vld1q_u8(rows.middle + x + 1), vld1q_u8(rows.below + x + 1));
  const uint8x8_t first = vqshrun_n_s16(kernel.Sum(left, low), 4);
  vst1q_u8(dst + x, vqshrun_high_n_s16(first, kernel.Sum(low, high), 4));
  return high;
}

// A row of 18 columns or more: 16 pixels a step, one step of 8, then single pixels. No step reads a
// column that the row does not have.
template <class Kernel>
void VectorRow(const Kernel& kernel, const Weights& weights, const Window& rows, uint8_t* dst,
               std::ptrdiff_t width) {
  const auto eight = [](const uint8_t* row) { return vcombine_u8(vld1_u8(row), vld1_u8(row)); };
  const auto two_last = [&](const uint8_t* row) { return vextq_u8(eight(row), eight(row), 2); };
  const std::ptrdiff_t end = width - 1;
  std::ptrdiff_t x = 1;
  auto left = kernel.Gather(two_last(rows.above), two_last(rows.middle), two_last(rows.below)).low;
  for (; x + 32 <= end; x += 32) {
    const auto middle = Step16(kernel, rows, dst, x, left);
    left = Step16(kernel, rows, dst, x + 16, middle);
  }
  if (x + 16 <= end) {
    left = Step16(kernel, rows, dst, x, left);
    x += 16;
  }
  if (x + 8 <= end) {
    const auto next = kernel.Gather(eight(rows.above + x + 1), eight(rows.middle + x + 1),
                                    eight(rows.below + x + 1));
    vst1_u8(dst + x, vqshrun_n_s16(kernel.Sum(left, next.low), 4));
    x += 8;
  }
  ScalarPixels(weights, rows, dst, x, end);
}

// A plane of 18 columns or more.
template <class Kernel>
void VectorRows(const Kernel& kernel, const Weights& weights, const uint8_t* src, uint8_t* dst,
                unsigned width, unsigned height, std::ptrdiff_t stride) {
  ForEachInteriorRow(src, dst, width, height, stride, [&](const Window& rows, uint8_t* out) {
    VectorRow(kernel, weights, rows, out, static_cast<std::ptrdiff_t>(width));
  });
}

#endif  // ZY_HAVE_NEON

}  // namespace corr3x3

#endif  // ZY_SHARPEN_CORR3X3_ROWS_H_
