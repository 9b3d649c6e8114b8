// SPDX-License-Identifier: Apache-2.0
#include "sharpen/sharpen_y.h"

#include <sys/time.h>

#include <cstddef>
#include <cstdint>

#include "sharpen/corr3x3_rows.h"
#include "sharpen/filter_corr3x3.h"
#include "sharpen/variants.h"

namespace {

constexpr signed char kCorner = -3;
constexpr signed char kCentre = 76;
constexpr signed char kEdge = -12;
constexpr corr3x3::Weights kWeights{kCorner, kCentre, kEdge};

// The wall clock; the epoch when it cannot be read.
timeval ReadClock() {
  timeval now{};
  if (gettimeofday(&now, nullptr) != 0) now = timeval{};
  return now;
}

#if ZY_HAVE_NEON

// The edge weight is four times the corner weight, so one column sum t = above + below + 4 * middle
// serves as left, middle and right neighbour: the pixel's sum is
//   124 * middle - 12 * t - 3 * (left t + right t).
// It lies in -60 * 255 .. 76 * 255 = -15300 .. 19380 and so is exact in signed 16 bits, whatever
// the partial sums wrap around to.
struct SharpenKernel {
  struct Half {
    uint16x8_t side;  // t, 0..1530
    uint16x8_t own;   // 124 * middle - 12 * t
  };
  struct Columns {
    Half low;
    Half high;
  };

  static Columns Gather(uint8x16_t above, uint8x16_t middle, uint8x16_t below) {
    const uint8x16_t four = vdupq_n_u8(4);
    const uint8x16_t scale = vdupq_n_u8(124);
    const uint16x8_t low_ends = vaddl_u8(vget_low_u8(above), vget_low_u8(below));
    const uint16x8_t low = vmlal_u8(low_ends, vget_low_u8(middle), vget_low_u8(four));
    const uint16x8_t high = vmlal_high_u8(vaddl_high_u8(above, below), middle, four);
    return {{low, vmlsq_n_u16(vmull_u8(vget_low_u8(middle), vget_low_u8(scale)), low, 12)},
            {high, vmlsq_n_u16(vmull_high_u8(middle, scale), high, 12)}};
  }

  static int16x8_t Sum(const Half& left, const Half& right) {
    const uint16x8_t sides = vaddq_u16(vextq_u16(left.side, right.side, 6), right.side);
    const uint16x8_t own = vextq_u16(left.own, right.own, 7);
    return vreinterpretq_s16_u16(vmlsq_n_u16(own, sides, 3));
  }
};
static_assert(kEdge == 4 * kCorner && kCorner == -3 && kCentre == 124 - 4 * 12);

#endif  // ZY_HAVE_NEON

}  // namespace

void sharpenYVariant(KernelVariant variant, const unsigned char* src, unsigned char* dst, int width,
                     int height, int stride) {
  const auto columns = static_cast<unsigned>(width);
  const auto rows = static_cast<unsigned>(height);
#if ZY_HAVE_NEON
  if (variant == KernelVariant::kVector && width > 17) {
    return corr3x3::VectorRows(SharpenKernel(), kWeights, src, dst, columns, rows, stride);
  }
#endif
  static_cast<void>(variant);
  corr3x3::ScalarRows(kWeights, src, dst, columns, rows, stride);
}

void sharpenY(const unsigned char* src, unsigned char* dst, int width, int height, int stride) {
  sharpenYVariant(kBestVariant, src, dst, width, height, stride);
}

void sharpenYWithSkinMap(const unsigned char* src, unsigned char* dst, const unsigned char* mask,
                         int width, int height, int stride) {
  // The readings only bracket the work for whoever traces the clock.
  static_cast<void>(ReadClock());
  filterCorr3x3s8_v2WithskinMap(src, mask, dst, static_cast<unsigned>(width),
                                static_cast<unsigned>(height), kCorner, kCentre, kEdge, stride);
  static_cast<void>(ReadClock());
}

double now_ms() {
  const timeval now = ReadClock();
  return static_cast<double>(now.tv_sec) * 1000.0 + static_cast<double>(now.tv_usec) / 1000.0;
}
