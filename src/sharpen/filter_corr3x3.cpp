// SPDX-License-Identifier: Apache-2.0
#include "sharpen/filter_corr3x3.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "sharpen/strips.h"
#include "sharpen/variants.h"

namespace {

struct Weights {
  int16_t corner;
  int16_t centre;
  int16_t edge;
};

// Three neighbouring source rows, each from its column 0.
struct Window {
  const uint8_t* above;
  const uint8_t* middle;
  const uint8_t* below;
};

Window WindowAround(const uint8_t* row, std::ptrdiff_t stride) {
  return {row - stride, row, row + stride};
}

// One column of a window.
struct Column {
  int ends;  // above + below
  int middle;
};

Column ColumnAt(const Window& rows, std::ptrdiff_t x) {
  return {rows.above[x] + rows.below[x], rows.middle[x]};
}

inline uint8_t Pixel(Weights weights, const Column& left, const Column& own, const Column& right) {
  const int corners = left.ends + right.ends;
  const int edges = own.ends + left.middle + right.middle;
  const int sum = weights.corner * corners + weights.edge * edges + weights.centre * own.middle;
  const int clamped = sum < 0 ? 0 : sum >= 4080 ? 4080 : sum;
  return static_cast<uint8_t>(clamped >> 4);  // 0..255
}

// Filters columns x to end - 1 of one row, two per step. Each needs a neighbour on both sides.
inline void ScalarPixels(Weights weights, const Window& rows, uint8_t* dst, std::ptrdiff_t x,
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

#if ZY_HAVE_NEON

// Returns whether every sum of nine weighted samples fits signed 16 bits. The largest comes from
// 255 under each positive weight and 0 under the others, the smallest from the reverse.
bool SumFits16Bits(const Weights& weights) {
  const auto worst = [&](int sign) {
    return 255 * (4 * std::max(sign * weights.corner, 0) + 4 * std::max(sign * weights.edge, 0) +
                  std::max(sign * weights.centre, 0));
  };
  return worst(1) <= 32767 && worst(-1) <= 32768;
}

// Sixteen columns of a row: left + right, and the middle.
struct Row {
  Row(uint8x16_t left, uint8x16_t middle, uint8x16_t right)
      : beside_low(vreinterpretq_s16_u16(vaddl_u8(vget_low_u8(left), vget_low_u8(right)))),
        beside_high(vreinterpretq_s16_u16(vaddl_high_u8(left, right))),
        middle_low(vreinterpretq_s16_u16(vmovl_u8(vget_low_u8(middle)))),
        middle_high(vreinterpretq_s16_u16(vmovl_high_u8(middle))) {}

  int16x8_t beside_low, beside_high;
  int16x8_t middle_low, middle_high;
};

// For weights with SumFits16Bits. Products and partial sums may wrap around; the whole sum is
// exact, because it is right modulo 65536 and in range.
struct Kernel16 {
  Weights weights;

  struct Half {
    int16x8_t side;  // added to the pixels above and below the last row
    int16x8_t own;   // the sums of its pixels, without the row below
  };
  struct Sums {
    Half low;
    Half high;
  };

  uint8x16_t AddRow(uint8x16_t left, uint8x16_t middle, uint8x16_t right, Sums* sums) const {
    const Row row(left, middle, right);
    const int16x8_t low = Add(row.beside_low, row.middle_low, &sums->low);
    const int16x8_t high = Add(row.beside_high, row.middle_high, &sums->high);
    return base::ShiftSaturateHigh<4>(vqshrun_n_s16(low, 4), high);
  }

 private:
  // Returns the sums of the row before.
  int16x8_t Add(int16x8_t beside, int16x8_t middle, Half* half) const {
    const int16x8_t side = vmlaq_n_s16(vmulq_n_s16(beside, weights.corner), middle, weights.edge);
    const int16x8_t done = vaddq_s16(half->own, side);
    *half = {side,
             vmlaq_n_s16(vmlaq_n_s16(half->side, beside, weights.edge), middle, weights.centre)};
    return done;
  }
};

// For any weights: the same in 32 bits. Narrowing saturates twice and so limits a sum to 0..4080.
struct Kernel32 {
  Weights weights;

  struct Quarter {
    int32x4_t side;
    int32x4_t own;
  };
  struct Sums {
    Quarter first, second, third, fourth;
  };

  uint8x16_t AddRow(uint8x16_t left, uint8x16_t middle, uint8x16_t right, Sums* sums) const {
    const Row row(left, middle, right);
    const uint16x8_t low = Add(row.beside_low, row.middle_low, &sums->first, &sums->second);
    const uint16x8_t high = Add(row.beside_high, row.middle_high, &sums->third, &sums->fourth);
    return vqmovn_high_u16(vqmovn_u16(low), high);
  }

 private:
  // Returns the sums of the row before, shifted.
  uint16x8_t Add(int16x8_t beside, int16x8_t middle, Quarter* low, Quarter* high) const {
    const int32x4_t low_side = vmlal_n_s16(vmull_n_s16(vget_low_s16(beside), weights.corner),
                                           vget_low_s16(middle), weights.edge);
    const int32x4_t high_side =
        vmlal_high_n_s16(base::MultiplyHigh(beside, weights.corner), middle, weights.edge);
    const uint16x4_t low_done = vqshrun_n_s32(vaddq_s32(low->own, low_side), 4);
    const uint16x8_t done = base::ShiftSaturateHigh<4>(low_done, vaddq_s32(high->own, high_side));
    *low = {low_side, vmlal_n_s16(vmlal_n_s16(low->side, vget_low_s16(beside), weights.edge),
                                  vget_low_s16(middle), weights.centre)};
    *high = {high_side, vmlal_high_n_s16(vmlal_high_n_s16(high->side, beside, weights.edge), middle,
                                         weights.centre)};
    return done;
  }
};

// Calls function(kernel) with the cheaper of the exact kernels.
template <class Function>
void WithKernel(const Weights& weights, Function function) {
  SumFits16Bits(weights) ? function(Kernel16{weights}) : function(Kernel32{weights});
}

// The mask's rows under a strip: sixteen bytes each, `pitch` bytes apart.
struct Marks {
  const uint8_t* row;
  std::ptrdiff_t pitch;
  std::ptrdiff_t rows;

  uint8x16_t At(std::ptrdiff_t r) const { return vld1q_u8(row + r * pitch); }

  static bool HasAny(uint8x16_t marks) { return vmaxvq_u8(marks) != 0; }

  bool HasAny() const {
    uint8x16_t any = vdupq_n_u8(0);
    std::ptrdiff_t r = 0;
    for (; r + 3 <= rows; r += 3) {
      any = vorrq_u8(vorrq_u8(any, At(r)), vorrq_u8(At(r + 1), At(r + 2)));
    }
    for (; r < rows; ++r) any = vorrq_u8(any, At(r));
    return HasAny(any);
  }
};

// Filters the marked blocks in row r and in the rows below it, up to a row without marks. Returns
// that row.
template <class Kernel>
std::ptrdiff_t BlendRun(const Kernel& kernel, strips::Place at, const Marks& mask,
                        std::ptrdiff_t r) {
  strips::Strip<Kernel> strip(kernel, strips::FirstSums(kernel, at));
  for (; r < mask.rows; ++r, at = at.Moved(0, 2)) {
    const uint8x16_t marks = mask.At(r);
    if (!Marks::HasAny(marks)) break;
    const uint8x16_t low = vzip1q_u8(marks, marks);
    const uint8x16_t high = vzip2q_u8(marks, marks);
    const uint8x16_t marked_left = vtstq_u8(low, low);
    const uint8x16_t marked_right = vtstq_u8(high, high);
    const auto blend_into = [&](uint8_t* row) {
      return [=](uint8x16_t left, uint8x16_t right) {
        vst1q_u8(row, vbslq_u8(marked_left, left, vld1q_u8(row)));
        vst1q_u8(row + 16, vbslq_u8(marked_right, right, vld1q_u8(row + 16)));
      };
    };
    strip.Step(at.src + at.stride, blend_into(at.dst));
    strip.Step(at.src + 2 * at.stride, blend_into(at.dst + at.pitch));
  }
  return r;
}

// Filters one strip. Where skin is rare most strips have no mark, so it first combines all rows.
template <class Kernel>
void WalkMarkedStrip(const Kernel& kernel, const strips::Place& first, const Marks& mask) {
  if (!mask.HasAny()) return;
  for (std::ptrdiff_t r = 0; r < mask.rows; ++r) {
    if (Marks::HasAny(mask.At(r))) r = BlendRun(kernel, first.Moved(0, 2 * r), mask, r);
  }
}

// Filters the plane. Block row and column 0 never change: the first strip begins at pixel (2, 2).
template <class Kernel>
void WalkMarked(const Kernel& kernel, const strips::Place& plane, const uint8_t* mask,
                std::ptrdiff_t half_width, std::ptrdiff_t half_height) {
  const strips::Place first = plane.Moved(2, 2);
  const std::ptrdiff_t columns = 2 * half_width - 4, rows = 2 * half_height - 4;
  strips::ForEachStrip(columns, rows,
                       [&](std::ptrdiff_t x, std::ptrdiff_t y, std::ptrdiff_t count) {
                         const uint8_t* marks = mask + (y / 2 + 1) * half_width + x / 2 + 1;
                         WalkMarkedStrip(kernel, first.Moved(x, y), {marks, half_width, count / 2});
                       });
}

#endif  // ZY_HAVE_NEON

}  // namespace

void filterCorr3x3s8_v2Variant([[maybe_unused]] KernelVariant variant, const unsigned char* src,
                               unsigned char* dst, unsigned int width, unsigned int height,
                               signed char corner, signed char centre, signed char edge,
                               int stride) {
  const std::ptrdiff_t columns = static_cast<int>(width);
  const std::ptrdiff_t rows = static_cast<int>(height);
  if (src == nullptr || dst == nullptr || columns < 3) return;
  const Weights weights{corner, centre, edge};
#if ZY_HAVE_NEON
  if (variant == KernelVariant::kVector && columns >= strips::kStripColumns + 2) {
    const strips::Place first = {src, stride, dst, columns};
    return WithKernel(weights, [&](const auto& kernel) {
      strips::Walk(kernel, first.Moved(1, 1), columns - 2, rows - 2);
    });
  }
#endif
  for (std::ptrdiff_t y = 1; y < rows - 1; ++y) {
    ScalarPixels(weights, WindowAround(src + y * stride, stride), dst + y * columns, 1,
                 columns - 1);
  }
}

void filterCorr3x3s8_v2(const unsigned char* src, unsigned char* dst, unsigned int width,
                        unsigned int height, signed char corner, signed char centre,
                        signed char edge, int stride) {
  filterCorr3x3s8_v2Variant(kBestVariant, src, dst, width, height, corner, centre, edge, stride);
}

void filterCorr3x3s8_v2WithskinMapVariant([[maybe_unused]] KernelVariant variant,
                                          const unsigned char* src, const unsigned char* mask,
                                          unsigned char* dst, unsigned int width,
                                          unsigned int height, signed char corner,
                                          signed char centre, signed char edge, int stride) {
  if (src == nullptr || mask == nullptr || dst == nullptr) return;
  if (static_cast<int>(width) < 6 || static_cast<int>(height) < 6) return;
  const Weights weights{corner, centre, edge};
  const auto columns = static_cast<std::ptrdiff_t>(width);
  const std::ptrdiff_t half_width = columns / 2;
  const std::ptrdiff_t half_height = static_cast<std::ptrdiff_t>(height) / 2;
#if ZY_HAVE_NEON
  if (variant == KernelVariant::kVector && 2 * half_width >= strips::kStripColumns + 4) {
    return WithKernel(weights, [&](const auto& kernel) {
      WalkMarked(kernel, {src, stride, dst, columns}, mask, half_width, half_height);
    });
  }
#endif
  for (std::ptrdiff_t by = 1; by < half_height - 1; ++by) {
    const Window upper = WindowAround(src + 2 * by * stride, stride);
    const Window lower = WindowAround(upper.below, stride);
    uint8_t* out = dst + 2 * by * columns;
    for (std::ptrdiff_t bx = 1; bx < half_width - 1; ++bx) {
      if (mask[by * half_width + bx] == 0) continue;
      ScalarPixels(weights, upper, out, 2 * bx, 2 * bx + 2);
      ScalarPixels(weights, lower, out + columns, 2 * bx, 2 * bx + 2);
    }
  }
}

void filterCorr3x3s8_v2WithskinMap(const unsigned char* src, const unsigned char* mask,
                                   unsigned char* dst, unsigned int width, unsigned int height,
                                   signed char corner, signed char centre, signed char edge,
                                   int stride) {
  filterCorr3x3s8_v2WithskinMapVariant(kBestVariant, src, mask, dst, width, height, corner, centre,
                                       edge, stride);
}
