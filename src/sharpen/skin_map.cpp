// SPDX-License-Identifier: Apache-2.0
#include "sharpen/skin_map.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "sharpen/strips.h"
#include "sharpen/variants.h"

namespace {

constexpr std::ptrdiff_t kMargin = 2;  // samples on every side that keep their values

// Writes sums[c] = map[c - 1] + 2 * map[c] + map[c + 1], at most 1020, for columns 1 to width - 2.
void SumRow(const uint8_t* map, uint16_t* sums, std::ptrdiff_t width) {
  for (std::ptrdiff_t c = 1; c < width - 1; ++c) {
    sums[c] = static_cast<uint16_t>(map[c - 1] + 2 * map[c] + map[c + 1]);
  }
}

// Writes row r after the sums of row r + 1, so that no sum reads a smoothed row. Three rows of sums
// stay in the cache; one for each row of the map would not.
void ScalarRows(uint8_t* map, uint16_t* buffer, std::ptrdiff_t width, std::ptrdiff_t height) {
  const auto sums_of = [&](std::ptrdiff_t r) { return buffer + r % 3 * width; };
  SumRow(map + width, sums_of(1), width);
  SumRow(map + 2 * width, sums_of(2), width);
  for (std::ptrdiff_t r = kMargin; r < height - kMargin; ++r) {
    SumRow(map + (r + 1) * width, sums_of(r + 1), width);
    const uint16_t* above = sums_of(r - 1);
    const uint16_t* own = sums_of(r);
    const uint16_t* below = sums_of(r + 1);
    for (std::ptrdiff_t c = kMargin; c < width - kMargin; ++c) {
      map[r * width + c] = static_cast<uint8_t>((above[c] + 2 * own[c] + below[c]) >> 4);  // 0..255
    }
  }
}

#if ZY_HAVE_NEON

// With t = left + 2 * middle + right of each row, a pixel is t above + 2 * t + t below, at most
// 4080: the sum of two neighbouring rows' pairs t + t below.
struct SmoothKernel {
  struct Half {
    uint16x8_t row;   // t of the last row
    uint16x8_t pair;  // t of the last two rows
  };
  struct Sums {
    Half low;
    Half high;
  };

  static uint8x16_t AddRow(uint8x16_t left, uint8x16_t middle, uint8x16_t right, Sums* sums) {
    const uint8x16_t two = vdupq_n_u8(2);
    const uint16x8_t low = vaddl_u8(vget_low_u8(left), vget_low_u8(right));
    const uint16x8_t high = vaddl_high_u8(left, right);
    const uint16x8_t low_done =
        Add(vmlal_u8(low, vget_low_u8(middle), vget_low_u8(two)), &sums->low);
    const uint16x8_t high_done = Add(vmlal_high_u8(high, middle, two), &sums->high);
    return base::ShiftNarrowHigh<4>(vshrn_n_u16(low_done, 4), high_done);
  }

 private:
  // Returns the sums of the row before.
  static uint16x8_t Add(uint16x8_t row, Half* half) {
    const uint16x8_t pair = vaddq_u16(half->row, row);
    const uint16x8_t done = vaddq_u16(half->pair, pair);
    *half = {row, pair};
    return done;
  }
};

constexpr std::ptrdiff_t kBufferedRows = 2 * strips::kBlockRows;

// Smooths the map. A strip would read its left neighbour's smoothed samples, so rows are read from
// `buffer`, which holds a copy of some rows and of one more above and below.
void VectorRows(uint8_t* map, uint8_t* buffer, std::ptrdiff_t width, std::ptrdiff_t height) {
  const auto bytes = [width](auto rows) { return static_cast<std::size_t>(rows * width); };
  std::memcpy(buffer, map + width, bytes(2));
  for (std::ptrdiff_t r = kMargin; r < height - kMargin; r += kBufferedRows) {
    const std::ptrdiff_t rows = std::min(kBufferedRows, height - kMargin - r);
    std::memcpy(buffer + 2 * width, map + (r + 1) * width, bytes(rows));
    const strips::Place first = {buffer + width, width, map + r * width, width};
    strips::Walk(SmoothKernel(), first.Moved(kMargin, 0), width - 2 * kMargin, rows);
    std::memmove(buffer, buffer + rows * width, bytes(2));
  }
}

#endif  // ZY_HAVE_NEON

}  // namespace

void smoothSkinMapGaussianVariant([[maybe_unused]] KernelVariant variant, unsigned char* map,
                                  unsigned int width, unsigned int height) {
  const auto columns = static_cast<int>(width);
  const auto rows = static_cast<int>(height);
  if (map == nullptr || columns <= 0 || rows <= 0) return;
  const std::unique_ptr<uint16_t[]> buffer(new uint16_t[std::size_t{width} * height]);
  if (columns < 5 || rows < 5) return;
#if ZY_HAVE_NEON
  if (variant == KernelVariant::kVector && columns >= strips::kStripColumns + 2 * kMargin) {
    return VectorRows(map, reinterpret_cast<uint8_t*>(buffer.get()), columns, rows);
  }
#endif
  ScalarRows(map, buffer.get(), columns, rows);
}

void smoothSkinMapGaussian(unsigned char* map, unsigned int width, unsigned int height) {
  smoothSkinMapGaussianVariant(kBestVariant, map, width, height);
}
