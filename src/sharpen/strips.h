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

// Rows that are done in all columns before the next ones begin. In a wide picture each lies on a
// page of its own, in the source and in the destination, and a processor has few translations of
// pages at hand: with the rows above and below, a band has 38. A multiple of the rows in a turn and
// in a block.
inline constexpr std::ptrdiff_t kBand = 18;

// Columns whose sums stay on the stack from band to band, so that no band forms anew those of the
// rows above it.
inline constexpr std::ptrdiff_t kKeptColumns = 2048;

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
  struct Sums {
    typename Kernel::Sums left;
    typename Kernel::Sums right;
  };

  // Goes on below another strip that ended with these sums.
  Strip(const Kernel& kernel, const Sums& sums) : kernel_(kernel), sums_(sums) {}

  const Sums& sums() const { return sums_; }

  // Takes a row, and calls put(left, right) with the pixels of the row before.
  template <class Put>
  [[gnu::always_inline]] void Take(const uint8_t* row, Put put) {
    const uint8x16_t right = TakeSixteen(row + 16, &sums_.right);
    put(TakeSixteen(row, &sums_.left), right);
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
  Sums sums_;
};

// The sums of the row above `first` and of its own, with which a strip begins there.
template <class Kernel>
[[gnu::always_inline]] inline typename Strip<Kernel>::Sums SumsAt(const Kernel& kernel,
                                                                  const Place& first) {
  Strip<Kernel> strip(kernel, typename Strip<Kernel>::Sums());
  const auto ignore = [](uint8x16_t, uint8x16_t) {};
  strip.Take(first.src - first.stride, ignore);
  strip.Take(first.src, ignore);
  return strip.sums();
}

// Takes the next row of a strip and writes the row of pixels before. A cache line is as wide as two
// strips: with kAhead, this one asks for what the next two will read; beyond the plane that does
// nothing.
template <bool kAhead, class Kernel>
[[gnu::always_inline]] inline void WalkRow(Strip<Kernel>* strip, Place* at) {
  at->src += at->stride;
  if constexpr (kAhead) __builtin_prefetch(at->src + 3 * kColumns);
  strip->Take(at->src, [at](uint8x16_t left, uint8x16_t right) {
    vst1q_u8(at->dst, left);
    vst1q_u8(at->dst + 16, right);
  });
  at->dst += at->pitch;
}

// Three rows a turn: the sums change their registers in a ring of three, and none is moved.
template <bool kAhead, class Kernel>
void WalkThrees(const Kernel& kernel, Place at, std::ptrdiff_t turns,
                typename Strip<Kernel>::Sums* kept) {
  Strip<Kernel> strip(kernel, *kept);
  for (; turns > 0; --turns) {
    WalkRow<kAhead>(&strip, &at);
    WalkRow<kAhead>(&strip, &at);
    WalkRow<kAhead>(&strip, &at);
  }
  *kept = strip.sums();
}

// The rows below the last turn of three.
template <class Kernel>
void WalkRest(const Kernel& kernel, Place at, std::ptrdiff_t rows,
              typename Strip<Kernel>::Sums* kept) {
  Strip<Kernel> strip(kernel, *kept);
  for (; rows > 0; --rows) WalkRow<false>(&strip, &at);
  *kept = strip.sums();
}

// Calls walk(x, y, rows) for each strip of each band. The last strip of a band moves back
// over pixels that are done, or to before x = 0 where there are fewer than kColumns.
template <class WalkOne>
void ForEachStrip(std::ptrdiff_t columns, std::ptrdiff_t rows, WalkOne walk) {
  for (std::ptrdiff_t y = 0; y < rows; y += kBand) {
    for (std::ptrdiff_t x = 0; x < columns; x += kColumns) {
      walk(std::min(x, columns - kColumns), y, std::min(kBand, rows - y));
    }
  }
}

// Walks over up to kKeptColumns columns of pixels. A strip that is wider begins left of `first`.
template <class Kernel>
void WalkKept(const Kernel& kernel, const Place& first, std::ptrdiff_t columns,
              std::ptrdiff_t rows) {
  typename Strip<Kernel>::Sums kept[kKeptColumns / kColumns];
  ForEachStrip(columns, rows, [&](std::ptrdiff_t x, std::ptrdiff_t y, std::ptrdiff_t count) {
    const std::ptrdiff_t strip = (x + kColumns - 1) / kColumns;
    const Place at = first.Moved(x, y);
    if (y == 0) kept[strip] = SumsAt(kernel, at);
    strip % 2 == 0 ? WalkThrees<true>(kernel, at, count / 3, &kept[strip])
                   : WalkThrees<false>(kernel, at, count / 3, &kept[strip]);
    if (count % 3 != 0) WalkRest(kernel, at.Moved(0, count / 3 * 3), count % 3, &kept[strip]);
  });
}

// Walks over `columns` x `rows` pixels from `first`; the source has a pixel on every side of each.
// `columns` is at least kColumns.
template <class Kernel>
void Walk(const Kernel& kernel, const Place& first, std::ptrdiff_t columns, std::ptrdiff_t rows) {
  for (std::ptrdiff_t x = 0; x < columns; x += kKeptColumns) {
    WalkKept(kernel, first.Moved(x, 0), std::min(kKeptColumns, columns - x), rows);
  }
}

}  // namespace strips

#endif  // ZY_HAVE_NEON

#endif  // ZY_SHARPEN_STRIPS_H_
