// SPDX-License-Identifier: Apache-2.0
#include "image/resize.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/neon.h"
#include "image/variants.h"

namespace {

constexpr int ShiftOf(int factor) { return factor == 2 ? 2 : factor == 4 ? 4 : 6; }

// Writes one row of `outputs` means of kFactor x kFactor bytes.
template <int kFactor>
void ScalarRow(const uint8_t* __restrict src, std::ptrdiff_t stride, uint8_t* __restrict dst,
               std::ptrdiff_t outputs) {
  for (std::ptrdiff_t x = 0; x < outputs; ++x) {
    unsigned sum = 0;
    for (int r = 0; r < kFactor; ++r) {
      for (int c = 0; c < kFactor; ++c) sum += src[r * stride + kFactor * x + c];
    }
    dst[x] = static_cast<uint8_t>(sum >> ShiftOf(kFactor));  // at most 255
  }
}

#if ZY_HAVE_NEON

// Sums kRows rows of eight neighbouring blocks of kColumns bytes; a sum is at most 64 * 255.
template <int kRows, int kColumns>
uint16x8_t EightSums(const uint8_t* src, std::ptrdiff_t stride) {
  if constexpr (kColumns == 2) {
    uint16x8_t sums = vpaddlq_u8(vld1q_u8(src));
    for (int r = 1; r < kRows; ++r) sums = vpadalq_u8(sums, vld1q_u8(src + r * stride));
    return sums;
  } else {
    const uint16x8_t left = EightSums<kRows, kColumns / 2>(src, stride);
    const uint16x8_t right =
        EightSums<kRows, kColumns / 2>(src + std::ptrdiff_t{4} * kColumns, stride);
    return vpaddq_u16(left, right);
  }
}

// Returns the means of the next eight source columns.
template <int kFactor>
void VectorBlock(const uint8_t* src, std::ptrdiff_t stride, uint8_t* dst) {
  uint16x4_t sums = vpaddl_u8(vld1_u8(src));
  for (int r = 1; r < kFactor; ++r) sums = vpadal_u8(sums, vld1_u8(src + r * stride));
  for (int c = 2; c < kFactor; c *= 2) sums = vpadd_u16(sums, sums);
  const uint8x8_t means = vshrn_n_u16(vcombine_u16(sums, sums), ShiftOf(kFactor));
  const uint32_t bytes = vget_lane_u32(vreinterpret_u32_u8(means), 0);
  std::memcpy(dst, &bytes, 8 / kFactor);
}

// Returns the means of sixteen neighbouring blocks.
template <int kFactor>
uint8x16_t SixteenMeans(const uint8_t* src, std::ptrdiff_t stride) {
  constexpr int kShift = ShiftOf(kFactor);
  const uint16x8_t low = EightSums<kFactor, kFactor>(src, stride);
  const uint16x8_t high = EightSums<kFactor, kFactor>(src + std::ptrdiff_t{8} * kFactor, stride);
  return base::ShiftNarrowHigh<kShift>(vshrn_n_u16(low, kShift), high);
}

// Works like ScalarRow, for source columns that are a multiple of 8. It stores two registers of
// means together; with 8 x 8 blocks too few registers are left for that.
template <int kFactor>
void VectorRow(const uint8_t* src, std::ptrdiff_t stride, uint8_t* dst, std::ptrdiff_t outputs) {
  if constexpr (kFactor < 8) {
    for (; outputs >= 32; outputs -= 32) {
      const uint8x16_t first = SixteenMeans<kFactor>(src, stride);
      const uint8x16_t second = SixteenMeans<kFactor>(src + std::ptrdiff_t{16} * kFactor, stride);
      vst1q_u8(dst, first);
      vst1q_u8(dst + 16, second);
      src += std::ptrdiff_t{32} * kFactor;
      dst += 32;
    }
  }
  std::ptrdiff_t x = 0;
  for (; x + 16 <= outputs; x += 16) {
    vst1q_u8(dst + x, SixteenMeans<kFactor>(src + kFactor * x, stride));
  }
  for (; x < outputs; x += 8 / kFactor) VectorBlock<kFactor>(src + kFactor * x, stride, dst + x);
}

#endif  // ZY_HAVE_NEON

// Writes a row of any number of outputs.
template <int kFactor>
void PlainRow(const uint8_t* src, std::ptrdiff_t stride, uint8_t* dst, std::ptrdiff_t outputs) {
  std::ptrdiff_t done = 0;
#if ZY_HAVE_NEON
  done = outputs / 16 * 16;
  VectorRow<kFactor>(src, stride, dst, done);
#endif
  ScalarRow<kFactor>(src + kFactor * done, stride, dst + done, outputs - done);
}

using RowFunction = void(const uint8_t* src, std::ptrdiff_t stride, uint8_t* dst,
                         std::ptrdiff_t outputs);

// Writes output rows without gaps; each reads from `advance` source bytes after the row before.
void ShrinkRows(RowFunction* row, const uint8_t* src, uint8_t* dst, std::ptrdiff_t outputs,
                int rows, std::ptrdiff_t stride, std::ptrdiff_t advance) {
  for (std::ptrdiff_t y = 0; y < rows; ++y) {
    row(src + y * advance, stride, dst + y * outputs, outputs);
  }
}

template <int kFactor>
void PlainShrink(const uint8_t* src, uint8_t* dst, int width, int height, std::ptrdiff_t stride) {
  if (src == nullptr || dst == nullptr || width < kFactor || height < kFactor) return;
  ShrinkRows(PlainRow<kFactor>, src, dst, width / kFactor, height / kFactor, stride,
             kFactor * stride);
}

// Shrinks blocks of rows. Each begins where the `columns` consumed by the one above end.
template <int kFactor>
void BlockShrink([[maybe_unused]] KernelVariant variant, const uint8_t* src, uint8_t* dst,
                 int width, std::ptrdiff_t columns, int height, std::ptrdiff_t stride) {
  if (src == nullptr || dst == nullptr || height < kFactor) return;
  RowFunction* row = ScalarRow<kFactor>;
#if ZY_HAVE_NEON
  if (variant == KernelVariant::kVector) row = VectorRow<kFactor>;
#endif
  ShrinkRows(row, src, dst, columns / kFactor, height / kFactor, stride,
             kFactor * stride + columns - width);
}

// Returns the columns in blocks of 16, plus 8 when the width is not a multiple of 16.
std::ptrdiff_t ColumnsBy16(std::ptrdiff_t width) { return width / 16 * 16 + (width % 16 ? 8 : 0); }

}  // namespace

void resize_half(const unsigned char* src, unsigned char* dst, int width, int height, int stride) {
  PlainShrink<2>(src, dst, width, height, stride);
}

void resize_quarter(const unsigned char* src, unsigned char* dst, int width, int height,
                    int stride) {
  PlainShrink<4>(src, dst, width, height, stride);
}

void resize_halfUseNeonVariant(KernelVariant variant, const unsigned char* src, unsigned char* dst,
                               int width, int height, int stride) {
  if (width < 16) return;
  BlockShrink<2>(variant, src, dst, width, ColumnsBy16(width), height, stride);
}

void resize_quarterUseNeonVariant(KernelVariant variant, const unsigned char* src,
                                  unsigned char* dst, int width, int height, int stride) {
  if (width < 16) return;
  BlockShrink<4>(variant, src, dst, width, ColumnsBy16(width), height, stride);
}

void resize_eighthUseNeonVariant(KernelVariant variant, const unsigned char* src,
                                 unsigned char* dst, int width, int height, int stride) {
  if (width < 8) return;
  BlockShrink<8>(variant, src, dst, width, std::ptrdiff_t{width} / 8 * 8, height, stride);
}

void resize_halfUseNeon(const unsigned char* src, unsigned char* dst, int width, int height,
                        int stride) {
  resize_halfUseNeonVariant(kBestVariant, src, dst, width, height, stride);
}

void resize_quarterUseNeon(const unsigned char* src, unsigned char* dst, int width, int height,
                           int stride) {
  resize_quarterUseNeonVariant(kBestVariant, src, dst, width, height, stride);
}

void resize_eighthUseNeon(const unsigned char* src, unsigned char* dst, int width, int height,
                          int stride) {
  resize_eighthUseNeonVariant(kBestVariant, src, dst, width, height, stride);
}
