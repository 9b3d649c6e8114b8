// SPDX-License-Identifier: Apache-2.0
#include "sharpen/skin_map.h"

#include <cstddef>
#include <cstdint>
#include <memory>

#include "base/neon.h"
#include "sharpen/variants.h"

namespace {

// sums[c] = map[c - 1] + 2 * map[c] + map[c + 1], at most 1020, for columns 1 to width - 2.
void ScalarSums(const uint8_t* map, uint16_t* sums, std::ptrdiff_t c, std::ptrdiff_t end) {
  if (c >= end) return;
  unsigned left = map[c - 1];
  unsigned middle = map[c];
  for (; c + 3 <= end; c += 3) {
    const unsigned right = map[c + 1];
    const unsigned next = map[c + 2];
    const unsigned last = map[c + 3];
    sums[c] = static_cast<uint16_t>(left + 2 * middle + right);
    sums[c + 1] = static_cast<uint16_t>(middle + 2 * right + next);
    sums[c + 2] = static_cast<uint16_t>(right + 2 * next + last);
    left = next;
    middle = last;
  }
  for (; c < end; ++c) sums[c] = static_cast<uint16_t>(map[c - 1] + 2 * map[c] + map[c + 1]);
}

// Three rows of horizontal sums.
struct SumRows {
  const uint16_t* above;
  const uint16_t* middle;
  const uint16_t* below;
};

uint8_t SmoothedPixel(SumRows sums, std::ptrdiff_t c) {
  return static_cast<uint8_t>((sums.above[c] + 2 * sums.middle[c] + sums.below[c]) >> 4);  // 0..255
}

void ScalarPixels(SumRows sums, uint8_t* map, std::ptrdiff_t c, std::ptrdiff_t end) {
  for (; c + 8 <= end; c += 8) {
    for (std::ptrdiff_t i = c; i < c + 8; ++i) map[i] = SmoothedPixel(sums, i);
  }
  for (; c < end; ++c) map[c] = SmoothedPixel(sums, c);
}

#if ZY_HAVE_NEON

void VectorSums(const uint8_t* map, uint16_t* sums, std::ptrdiff_t end) {
  const uint8x16_t two = vdupq_n_u8(2);
  std::ptrdiff_t c = 1;
  for (const std::ptrdiff_t last = end - 16; c <= last; c += 16) {
    const uint8x16_t left = vld1q_u8(map + c - 1);
    const uint8x16_t middle = vld1q_u8(map + c);
    const uint8x16_t right = vld1q_u8(map + c + 1);
    const uint16x8_t sides = vaddl_u8(vget_low_u8(left), vget_low_u8(right));
    vst1q_u16(sums + c, vmlal_u8(sides, vget_low_u8(middle), vget_low_u8(two)));
    vst1q_u16(sums + c + 8, vmlal_high_u8(vaddl_high_u8(left, right), middle, two));
  }
  if (c + 8 <= end) {
    const uint16x8_t sides = vaddl_u8(vld1_u8(map + c - 1), vld1_u8(map + c + 1));
    vst1q_u16(sums + c, vmlal_u8(sides, vld1_u8(map + c), vget_low_u8(two)));
    c += 8;
  }
  ScalarSums(map, sums, c, end);
}

// above + 2 * middle + below, at most 4080.
uint16x8_t WeightedSum(SumRows sums, std::ptrdiff_t c) {
  const uint16x8_t ends = vaddq_u16(vld1q_u16(sums.above + c), vld1q_u16(sums.below + c));
  return vaddq_u16(ends, vshlq_n_u16(vld1q_u16(sums.middle + c), 1));
}

uint8x16_t SixteenPixels(SumRows sums, std::ptrdiff_t c) {
  return vshrn_high_n_u16(vshrn_n_u16(WeightedSum(sums, c), 4), WeightedSum(sums, c + 8), 4);
}

void VectorPixels(SumRows sums, uint8_t* map, std::ptrdiff_t end) {
  std::ptrdiff_t c = 2;
  for (const std::ptrdiff_t last = end - 32; c <= last; c += 32) {
    vst1q_u8(map + c, SixteenPixels(sums, c));
    vst1q_u8(map + c + 16, SixteenPixels(sums, c + 16));
  }
  if (c + 16 <= end) {
    vst1q_u8(map + c, SixteenPixels(sums, c));
    c += 16;
  }
  if (c + 8 <= end) {
    vst1_u8(map + c, vshrn_n_u16(WeightedSum(sums, c), 4));
    c += 8;
  }
  ScalarPixels(sums, map, c, end);
}

#endif  // ZY_HAVE_NEON

void SumRow(KernelVariant variant, const uint8_t* map, uint16_t* sums, std::ptrdiff_t width) {
#if ZY_HAVE_NEON
  if (variant == KernelVariant::kVector && width >= 18) return VectorSums(map, sums, width - 1);
#endif
  static_cast<void>(variant);
  ScalarSums(map, sums, 1, width - 1);
}

void SmoothRow(KernelVariant variant, SumRows sums, uint8_t* map, std::ptrdiff_t width) {
#if ZY_HAVE_NEON
  if (variant == KernelVariant::kVector && width >= 20) return VectorPixels(sums, map, width - 2);
#endif
  static_cast<void>(variant);
  ScalarPixels(sums, map, 2, width - 2);
}

}  // namespace

void smoothSkinMapGaussianVariant(KernelVariant variant, unsigned char* map, unsigned int width,
                                  unsigned int height) {
  const auto columns = static_cast<int>(width);
  const auto rows = static_cast<int>(height);
  if (map == nullptr || columns <= 0 || rows <= 0) return;
  const std::ptrdiff_t pitch = columns;
  const std::unique_ptr<uint16_t[]> buffer(new uint16_t[std::size_t{width} * height]);
  if (columns < 5 || rows < 5) return;

  // Row r is written once the sums of row r + 1 are taken, so that no sum sees a smoothed row.
  // Three rows of sums stay in the cache; one for each row of the map would not.
  const auto sums_of = [&](std::ptrdiff_t r) { return buffer.get() + r % 3 * pitch; };
  SumRow(variant, map + pitch, sums_of(1), pitch);
  SumRow(variant, map + 2 * pitch, sums_of(2), pitch);
  for (std::ptrdiff_t r = 2; r < rows - 2; ++r) {
    SumRow(variant, map + (r + 1) * pitch, sums_of(r + 1), pitch);
    SmoothRow(variant, {sums_of(r - 1), sums_of(r), sums_of(r + 1)}, map + r * pitch, pitch);
  }
}

void smoothSkinMapGaussian(unsigned char* map, unsigned int width, unsigned int height) {
  smoothSkinMapGaussianVariant(kBestVariant, map, width, height);
}
