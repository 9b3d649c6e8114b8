// SPDX-License-Identifier: Apache-2.0
#include "sharpen/filter_corr3x3.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "sharpen/corr3x3_rows.h"
#include "sharpen/variants.h"

namespace {

using corr3x3::Weights;
using corr3x3::Window;

#if ZY_HAVE_NEON

// Whether every sum of nine weighted samples fits signed 16 bits: the largest comes from 255 under
// each positive weight and 0 under the others, the smallest the other way round.
bool SumFits16Bits(const Weights& weights) {
  const auto worst = [&](int sign) {
    return 255 * (4 * std::max(sign * weights.corner, 0) + 4 * std::max(sign * weights.edge, 0) +
                  std::max(sign * weights.centre, 0));
  };
  return worst(1) <= 32767 && worst(-1) <= 32768;
}

// For weights with SumFits16Bits. Products and partial sums may wrap around; the whole sum is
// exact, because it is right modulo 65536 and in range.
class Kernel16 {
 public:
  struct Half {
    int16x8_t side;  // what a column adds to the pixels beside it
    int16x8_t own;   // what it adds to its own pixel
  };
  struct Columns {
    Half low;
    Half high;
  };

  explicit Kernel16(const Weights& weights)
      : corner_(static_cast<int16_t>(weights.corner)),
        centre_(static_cast<int16_t>(weights.centre)),
        edge_(static_cast<int16_t>(weights.edge)) {}

  Columns Gather(uint8x16_t above, uint8x16_t middle, uint8x16_t below) const {
    return {Weigh(vaddl_u8(vget_low_u8(above), vget_low_u8(below)), vmovl_u8(vget_low_u8(middle))),
            Weigh(vaddl_high_u8(above, below), vmovl_high_u8(middle))};
  }

  int16x8_t Sum(const Half& left, const Half& right) const {
    const int16x8_t sides = vaddq_s16(vextq_s16(left.side, right.side, 6), right.side);
    return vaddq_s16(sides, vextq_s16(left.own, right.own, 7));
  }

 private:
  Half Weigh(uint16x8_t above_and_below, uint16x8_t middle) const {
    const int16x8_t ends = vreinterpretq_s16_u16(above_and_below);
    const int16x8_t own = vreinterpretq_s16_u16(middle);
    return {vmlaq_n_s16(vmulq_n_s16(ends, corner_), own, edge_),
            vmlaq_n_s16(vmulq_n_s16(ends, edge_), own, centre_)};
  }

  int16_t corner_;
  int16_t centre_;
  int16_t edge_;
};

// For any weights: neighbour sums are multiplied in 32 bits.
class Kernel32 {
 public:
  struct Half {
    int16x8_t ends;    // above + below, 0..510
    int16x8_t middle;  // 0..255
  };
  struct Columns {
    Half low;
    Half high;
  };

  explicit Kernel32(const Weights& weights)
      : corner_(static_cast<int16_t>(weights.corner)),
        centre_(static_cast<int16_t>(weights.centre)),
        edge_(static_cast<int16_t>(weights.edge)) {}

  Columns Gather(uint8x16_t above, uint8x16_t middle, uint8x16_t below) const {
    return {{vreinterpretq_s16_u16(vaddl_u8(vget_low_u8(above), vget_low_u8(below))),
             vreinterpretq_s16_u16(vmovl_u8(vget_low_u8(middle)))},
            {vreinterpretq_s16_u16(vaddl_high_u8(above, below)),
             vreinterpretq_s16_u16(vmovl_high_u8(middle))}};
  }

  int16x8_t Sum(const Half& left, const Half& right) const {
    const int16x8_t corners = vaddq_s16(vextq_s16(left.ends, right.ends, 6), right.ends);
    const int16x8_t beside = vaddq_s16(vextq_s16(left.middle, right.middle, 6), right.middle);
    const int16x8_t edges = vaddq_s16(vextq_s16(left.ends, right.ends, 7), beside);
    const int16x8_t middle = vextq_s16(left.middle, right.middle, 7);
    const int16x8_t own = vmulq_n_s16(middle, centre_);  // at most 128 * 255 either way
    const int32x4_t low =
        vmlal_n_s16(vmull_n_s16(vget_low_s16(corners), corner_), vget_low_s16(edges), edge_);
    const int32x4_t high = vmlal_high_n_s16(vmull_high_n_s16(corners, corner_), edges, edge_);
    return vmovn_high_s32(vmovn_s32(Clamp(vaddw_s16(low, vget_low_s16(own)))),
                          Clamp(vaddw_high_s16(high, own)));
  }

 private:
  static int32x4_t Clamp(int32x4_t sum) {  // to 0..4080
    return vmaxq_s32(vminq_s32(sum, vdupq_n_s32(4080)), vdupq_n_s32(0));
  }

  int16_t corner_;
  int16_t centre_;
  int16_t edge_;
};

#endif  // ZY_HAVE_NEON

}  // namespace

void filterCorr3x3s8_v2Variant(KernelVariant variant, const unsigned char* src, unsigned char* dst,
                               unsigned int width, unsigned int height, signed char corner,
                               signed char centre, signed char edge, int stride) {
  const Weights weights{corner, centre, edge};
#if ZY_HAVE_NEON
  const auto vector_rows = [&](const auto& kernel) {
    corr3x3::VectorRows(kernel, weights, src, dst, width, height, stride);
  };
  if (variant == KernelVariant::kVector && width > 17) {
    return SumFits16Bits(weights) ? vector_rows(Kernel16(weights)) : vector_rows(Kernel32(weights));
  }
#endif
  static_cast<void>(variant);
  corr3x3::ScalarRows(weights, src, dst, width, height, stride);
}

void filterCorr3x3s8_v2(const unsigned char* src, unsigned char* dst, unsigned int width,
                        unsigned int height, signed char corner, signed char centre,
                        signed char edge, int stride) {
  filterCorr3x3s8_v2Variant(kBestVariant, src, dst, width, height, corner, centre, edge, stride);
}

void filterCorr3x3s8_v2WithskinMap(const unsigned char* src, const unsigned char* mask,
                                   unsigned char* dst, unsigned int width, unsigned int height,
                                   signed char corner, signed char centre, signed char edge,
                                   int stride) {
  if (src == nullptr || mask == nullptr || dst == nullptr) return;
  if (static_cast<int>(width) < 6 || static_cast<int>(height) < 6) return;
  const Weights weights{corner, centre, edge};
  const auto columns = static_cast<std::ptrdiff_t>(width);
  const std::ptrdiff_t half_width = columns / 2;
  const std::ptrdiff_t half_height = static_cast<std::ptrdiff_t>(height) / 2;
  const std::ptrdiff_t pitch = stride;
  for (std::ptrdiff_t by = 1; by < half_height - 1; ++by) {
    const uint8_t* first = src + (2 * by - 1) * pitch;
    const Window upper{first, first + pitch, first + 2 * pitch};
    const Window lower{upper.middle, upper.below, upper.below + pitch};
    uint8_t* out = dst + 2 * by * columns;
    for (std::ptrdiff_t bx = 1; bx < half_width - 1; ++bx) {
      if (mask[by * half_width + bx] == 0) continue;
      corr3x3::ScalarPixels(weights, upper, out, 2 * bx, 2 * bx + 2);
      corr3x3::ScalarPixels(weights, lower, out + columns, 2 * bx, 2 * bx + 2);
    }
  }
}
