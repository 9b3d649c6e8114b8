// SPDX-License-Identifier: Apache-2.0
#include "image/resize.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/neon.h"
#include "image/variants.h"

namespace {

constexpr int ShiftOf(int factor) { return factor == 2 ? 2 : factor == 4 ? 4 : 6; }

// One output row of `outputs` means of kFactor x kFactor bytes.
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

// ScalarRow<4> in groups of sixteen outputs and with one pointer for each source row, because
// compilers make shorter vector code of that.
void QuarterRow(const uint8_t* src, std::ptrdiff_t stride, uint8_t* __restrict dst,
                std::ptrdiff_t outputs) {
  const uint8_t* __restrict first = src;
  const uint8_t* __restrict second = src + stride;
  const uint8_t* __restrict third = second + stride;
  const uint8_t* __restrict fourth = third + stride;
  for (; outputs >= 16; outputs -= 16) {
    for (int x = 0; x < 16; ++x) {
      unsigned sum = 0;
      for (int c = 0; c < 4; ++c) sum += first[4 * x + c];
      for (int c = 0; c < 4; ++c) sum += second[4 * x + c];
      for (int c = 0; c < 4; ++c) sum += third[4 * x + c];
      for (int c = 0; c < 4; ++c) sum += fourth[4 * x + c];
      dst[x] = static_cast<uint8_t>(sum >> 4);  // at most 255
    }
    first += 64;
    second += 64;
    third += 64;
    fourth += 64;
    dst += 16;
  }
  ScalarRow<4>(first, stride, dst, outputs);
}

#if ZY_HAVE_NEON

// Sums over kRows rows of eight neighbouring blocks of kColumns bytes; at most 64 * 255.
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

// The means of the next eight source columns.
template <int kFactor>
void VectorBlock(const uint8_t* src, std::ptrdiff_t stride, uint8_t* dst) {
  uint16x4_t sums = vpaddl_u8(vld1_u8(src));
  for (int r = 1; r < kFactor; ++r) sums = vpadal_u8(sums, vld1_u8(src + r * stride));
  for (int c = 2; c < kFactor; c *= 2) sums = vpadd_u16(sums, sums);
  const uint8x8_t means = vshrn_n_u16(vcombine_u16(sums, sums), ShiftOf(kFactor));
  const uint32_t bytes = vget_lane_u32(vreinterpret_u32_u8(means), 0);
  std::memcpy(dst, &bytes, 8 / kFactor);
}

// As ScalarRow, for a row whose source columns are a multiple of 8.
template <int kFactor>
void VectorRow(const uint8_t* src, std::ptrdiff_t stride, uint8_t* dst, std::ptrdiff_t outputs) {
  constexpr int kShift = ShiftOf(kFactor);
  std::ptrdiff_t x = 0;
  for (; x + 16 <= outputs; x += 16) {
    const uint8_t* block = src + kFactor * x;
    const uint16x8_t low = EightSums<kFactor, kFactor>(block, stride);
    const uint16x8_t high =
        EightSums<kFactor, kFactor>(block + std::ptrdiff_t{8} * kFactor, stride);
    vst1q_u8(dst + x, vshrn_high_n_u16(vshrn_n_u16(low, kShift), high, kShift));
  }
  for (; x < outputs; x += 8 / kFactor) VectorBlock<kFactor>(src + kFactor * x, stride, dst + x);
}

#endif  // ZY_HAVE_NEON

using RowFunction = void(const uint8_t* src, std::ptrdiff_t stride, uint8_t* dst,
                         std::ptrdiff_t outputs);

// Writes output rows without gaps; each starts `advance` source bytes after the one before.
void ShrinkRows(RowFunction* row, const uint8_t* src, uint8_t* dst, std::ptrdiff_t outputs,
                int rows, std::ptrdiff_t stride, std::ptrdiff_t advance) {
  for (std::ptrdiff_t y = 0; y < rows; ++y) {
    row(src + y * advance, stride, dst + y * outputs, outputs);
  }
}

template <int kFactor>
void PlainShrink(RowFunction* row, const uint8_t* src, uint8_t* dst, int width, int height,
                 std::ptrdiff_t stride) {
  if (src == nullptr || dst == nullptr || width < kFactor || height < kFactor) return;
  ShrinkRows(row, src, dst, width / kFactor, height / kFactor, stride, kFactor * stride);
}

// `columns` of every source row are consumed, and the next row is looked for where that leaves off.
template <int kFactor>
void BlockShrink(KernelVariant variant, const uint8_t* src, uint8_t* dst, int width,
                 std::ptrdiff_t columns, int height, std::ptrdiff_t stride) {
  if (src == nullptr || dst == nullptr || height < kFactor) return;
  RowFunction* row = ScalarRow<kFactor>;
#if ZY_HAVE_NEON
  if (variant == KernelVariant::kVector) row = VectorRow<kFactor>;
#endif
  static_cast<void>(variant);
  ShrinkRows(row, src, dst, columns / kFactor, height / kFactor, stride,
             kFactor * stride + columns - width);
}

// Blocks of 16 columns, and 8 more when the width is not a multiple of 16.
std::ptrdiff_t ColumnsBy16(std::ptrdiff_t width) { return width / 16 * 16 + (width % 16 ? 8 : 0); }

}  // namespace

void resize_half(const unsigned char* src, unsigned char* dst, int width, int height, int stride) {
  PlainShrink<2>(ScalarRow<2>, src, dst, width, height, stride);
}

void resize_quarter(const unsigned char* src, unsigned char* dst, int width, int height,
                    int stride) {
  PlainShrink<4>(QuarterRow, src, dst, width, height, stride);
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
