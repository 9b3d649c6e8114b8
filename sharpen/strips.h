// SPDX-License-Identifier: Apache-2.0
// The walk that the kit's 3x3 kernels share: down strips of columns, so that a row's horizontal
// sums are formed once and serve three rows of pixels. Internal to the kit.
//
// A Kernel tells what a row contributes, sixteen columns at a time. Its Sums are what it keeps of
// the rows that it has taken; Take(left, middle, right, &sums) takes the next row, each column with
// those beside it, and returns the pixels of the row before, once two rows were taken.
#ifndef ZY_SHARPEN_STRIPS_H_
#define ZY_SHARPEN_STRIPS_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "base/neon.h"

#if ZY_HAVE_NEON

namespace strips {

inline constexpr std::ptrdiff_t kColumns = 32;  // of a strip

// Rows that are done in all columns before the next ones begin. Rows of a wide picture lie on pages
// of their own, and processors look ahead on some thirty pages at a time: with the rows above and
// below, a band has 32. A multiple of the rows in a turn and in a block.
inline constexpr std::ptrdiff_t kBand = 30;

// A place in the source and the same one in the destination.
struct Place {
  const uint8_t* src;
  std::ptrdiff_t stride;
  uint8_t* dst;
  std::ptrdiff_t pitch;

  Place Moved(std::ptrdiff_t columns, std::ptrdiff_t rows) const {
    return {src + rows * stride + columns, stride, dst + rows * pitch + columns, pitch};
  }
};

// kColumns columns of a plane, from top to bottom.
template <class Kernel>
class Strip {
 public:
  explicit Strip(const Kernel& kernel) : kernel_(kernel) {}

  // Takes the rows above and at `first`, the strip's first column in the first row of pixels.
  [[gnu::always_inline]] void Start(const uint8_t* first, std::ptrdiff_t stride) {
    const auto ignore = [](uint8x16_t, uint8x16_t) {};
    Take(first - stride, ignore);
    Take(first, ignore);
  }

  // Takes a row, and calls put(left, right) with the pixels of the row before.
  template <class Put>
  [[gnu::always_inline]] void Take(const uint8_t* row, Put put) {
    const uint8x16_t right = TakeSixteen(row + 16, &right_);
    put(TakeSixteen(row, &left_), right);
  }

 private:
  // The middle is loaded last: clang orders a sum by its operands' age, and adds the middle column
  // in the same instruction that multiplies it only when it comes last.
  [[gnu::always_inline]] uint8x16_t TakeSixteen(const uint8_t* row, typename Kernel::Sums* sums) {
    const uint8x16_t left = vld1q_u8(row - 1);
    const uint8x16_t right = vld1q_u8(row + 1);
    return kernel_.Take(left, vld1q_u8(row), right, sums);
  }

  const Kernel kernel_;
  typename Kernel::Sums left_{};
  typename Kernel::Sums right_{};
};

// Three rows a turn: the sums change their registers in a ring of three, and none is moved.
template <class Kernel>
void WalkStrip(const Kernel& kernel, Place at, std::ptrdiff_t rows) {
  Strip<Kernel> strip(kernel);
  strip.Start(at.src, at.stride);
  const auto next_row = [&] {
    at.src += at.stride;
    strip.Take(at.src, [&](uint8x16_t left, uint8x16_t right) {
      vst1q_u8(at.dst, left);
      vst1q_u8(at.dst + 16, right);
    });
    at.dst += at.pitch;
  };
  for (; rows >= 3; rows -= 3) {
    next_row();
    next_row();
    next_row();
  }
  for (; rows > 0; --rows) next_row();
}

// Calls walk(x, y, rows) for each strip of each band. The last strip of a band moves back
// over pixels that are done. `columns` is at least kColumns, or 0 or less for none.
template <class WalkOne>
void ForEachStrip(std::ptrdiff_t columns, std::ptrdiff_t rows, WalkOne walk) {
  for (std::ptrdiff_t y = 0; y < rows; y += kBand) {
    for (std::ptrdiff_t x = 0; x < columns; x += kColumns) {
      walk(std::min(x, columns - kColumns), y, std::min(kBand, rows - y));
    }
  }
}

// Walks over `columns` x `rows` pixels from `first`; the source has a pixel on every side of each.
template <class Kernel>
void Walk(const Kernel& kernel, const Place& first, std::ptrdiff_t columns, std::ptrdiff_t rows) {
  ForEachStrip(columns, rows, [=](std::ptrdiff_t x, std::ptrdiff_t y, std::ptrdiff_t count) {
    WalkStrip(kernel, first.Moved(x, y), count);
  });
}

}  // namespace strips

#endif  // ZY_HAVE_NEON

#endif  // ZY_SHARPEN_STRIPS_H_
