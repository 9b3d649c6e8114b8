// SPDX-License-Identifier: Apache-2.0
#include "sharpen/sharpen_y.h"

#include <sys/time.h>

#include <cstddef>
#include <cstdint>

#include "sharpen/filter_corr3x3.h"
#include "sharpen/strips.h"
#include "sharpen/variants.h"

namespace {

constexpr signed char kCorner = -3;
constexpr signed char kCentre = 76;
constexpr signed char kEdge = -12;

// Returns the wall clock, or the epoch when it cannot be read.
timeval ReadClock() {
  timeval now{};
  if (gettimeofday(&now, nullptr) != 0) now = timeval{};
  return now;
}

#if ZY_HAVE_NEON

// The edge weight is four times the corner weight, so with one row sum
//   w = left + right + 4 * middle
// the pixel's sum is 124 * middle - 12 * w - 3 * (w above + w below). It lies in -60 * 255 .. 76 *
// 255 = -15300 .. 19380 and so is exact in signed 16 bits, even if partial sums wrap around.
struct SharpenKernel {
  struct Half {
    uint16x8_t side;  // w of the last row
    uint16x8_t own;   // the sums of its pixels, without the row below
  };
  struct Sums {
    Half low;
    Half high;
  };

  static uint8x16_t AddRow(uint8x16_t left, uint8x16_t middle, uint8x16_t right, Sums* sums) {
    const uint8x16_t four = vdupq_n_u8(4);
    const uint8x16_t scale = vdupq_n_u8(124);
    const uint16x8_t low = vmlal_u8(vaddl_u8(vget_low_u8(left), vget_low_u8(right)),
                                    vget_low_u8(middle), vget_low_u8(four));
    const uint16x8_t high = vmlal_high_u8(vaddl_high_u8(left, right), middle, four);
    const int16x8_t first = Add(low, vmull_u8(vget_low_u8(middle), vget_low_u8(scale)), &sums->low);
    const int16x8_t second = Add(high, vmull_high_u8(middle, scale), &sums->high);
    return base::ShiftSaturateHigh<4>(vqshrun_n_s16(first, 4), second);
  }

 private:
  // Returns the sums of the row before; `scaled` is 124 * middle.
  static int16x8_t Add(uint16x8_t w, uint16x8_t scaled, Half* half) {
    const uint16x8_t done = vmlsq_n_u16(half->own, w, 3);
    *half = {w, vmlsq_n_u16(vmlsq_n_u16(scaled, w, 12), half->side, 3)};
    return vreinterpretq_s16_u16(done);
  }
};
static_assert(kEdge == 4 * kCorner && kCorner == -3 && kCentre == 124 - 4 * 12);

#endif  // ZY_HAVE_NEON

}  // namespace

void sharpenYVariant(KernelVariant variant, const unsigned char* src, unsigned char* dst, int width,
                     int height, int stride) {
#if ZY_HAVE_NEON
  const bool has_planes = src != nullptr && dst != nullptr;
  if (variant == KernelVariant::kVector && has_planes && width >= strips::kStripColumns + 2) {
    const strips::Place first = {src, stride, dst, width};
    return strips::Walk(SharpenKernel(), first.Moved(1, 1), width - 2, std::ptrdiff_t{height} - 2);
  }
#endif
  filterCorr3x3s8_v2Variant(variant, src, dst, static_cast<unsigned>(width),
                            static_cast<unsigned>(height), kCorner, kCentre, kEdge, stride);
}

void sharpenY(const unsigned char* src, unsigned char* dst, int width, int height, int stride) {
  sharpenYVariant(kBestVariant, src, dst, width, height, stride);
}

void sharpenYWithSkinMap(const unsigned char* src, unsigned char* dst, const unsigned char* mask,
                         int width, int height, int stride) {
  // The readings only bracket the work for a trace of the clock.
  static_cast<void>(ReadClock());
  filterCorr3x3s8_v2WithskinMap(src, mask, dst, static_cast<unsigned>(width),
                                static_cast<unsigned>(height), kCorner, kCentre, kEdge, stride);
  static_cast<void>(ReadClock());
}

double now_ms() {
  const timeval now = ReadClock();
  return static_cast<double>(now.tv_sec) * 1000.0 + static_cast<double>(now.tv_usec) / 1000.0;
}
