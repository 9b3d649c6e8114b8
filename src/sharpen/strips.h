// SPDX-License-Identifier: Apache-2.0
// The order in which the kit's 3x3 kernels process a plane. Each strip runs from top to bottom, so
// that a row's horizontal sums are computed once and serve three rows of pixels. Strips of a few
// rows lie side by side in a block, and blocks below each other in a panel:
//
//         kPanelColumns
//   +-------+-------+----- ... +------   a panel is done before the next one begins
//   | strip | strip |          |
//   |   |   |   |   |          |         a block: kBlockRows rows, strip after strip
//   |   v   |   v   |          |
//   +-------+-------+----- ... +------
//   |   |   |   |   |          |         the next block: each strip continues with the
//   |   v   |   v   |          |         sums of the one above it
//
// A Kernel adds up rows of sixteen columns. AddRow(left, middle, right, &sums) adds the next row,
// each column with its neighbours, to its Sums. From the third row on it returns the pixels of the
// row before. Internal to the kit.
#ifndef ZY_SHARPEN_STRIPS_H_
#define ZY_SHARPEN_STRIPS_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "base/neon.h"

#if ZY_HAVE_NEON

namespace strips {

inline constexpr std::ptrdiff_t kStripColumns = 32;

// Bounded by the reach of a processor's TLB: in a wide picture each row lies on a page of its own,
// in the source and in the destination, and with the rows above and below a block touches 38 pages.
// A multiple of 3 rows (one turn) and 2 (a block of the mask).
inline constexpr std::ptrdiff_t kBlockRows = 18;

// Bounded by the stack, where a panel keeps the sums of its strips from block to block.
inline constexpr std::ptrdiff_t kPanelColumns = 2048;

// A position in the source and the same one in the destination.
struct Place {
  const uint8_t* src;
  std::ptrdiff_t stride;
  uint8_t* dst;
  std::ptrdiff_t pitch;

  Place Moved(std::ptrdiff_t columns, std::ptrdiff_t rows) const {
    return {src + rows * stride + columns, stride, dst + rows * pitch + columns, pitch};
  }
};

// kStripColumns columns of a plane, from top to bottom.
template <class Kernel>
class Strip {
 public:
  struct Sums {
    typename Kernel::Sums left;
    typename Kernel::Sums right;
  };

  // Continues below a strip that ended with these sums.
  Strip(const Kernel& kernel, const Sums& sums) : kernel_(kernel), sums_(sums) {}

  const Sums& sums() const { return sums_; }

  // Advances to `row`, and calls store(left, right) with the pixels of the row before.
  template <class Store>
  [[gnu::always_inline]] void Step(const uint8_t* row, Store store) {
    const uint8x16_t right = AddSixteen(row + 16, &sums_.right);
    store(AddSixteen(row, &sums_.left), right);
  }

 private:
  // The middle is loaded last: clang orders a sum by its operands' age, and adds the middle column
  // in the same instruction that multiplies it only if it is the youngest.
  [[gnu::always_inline]] uint8x16_t AddSixteen(const uint8_t* row, typename Kernel::Sums* sums) {
    const uint8x16_t left = vld1q_u8(row - 1);
    const uint8x16_t right = vld1q_u8(row + 1);
    return kernel_.AddRow(left, vld1q_u8(row), right, sums);
  }

  const Kernel kernel_;
  Sums sums_;
};

// Returns the sums of a strip that begins at `first`: of the row above it and of its own.
template <class Kernel>
[[gnu::always_inline]] inline typename Strip<Kernel>::Sums FirstSums(const Kernel& kernel,
                                                                     const Place& first) {
  Strip<Kernel> strip(kernel, typename Strip<Kernel>::Sums());
  const auto ignore = [](uint8x16_t, uint8x16_t) {};
  strip.Step(first.src - first.stride, ignore);
  strip.Step(first.src, ignore);
  return strip.sums();
}

// Advances a strip to its next row and stores the pixels of the row before. A cache line is as wide
// as two strips: with kPrefetch, this one prefetches the line of the next two. A prefetch beyond
// the plane does nothing.
template <bool kPrefetch, class Kernel>
[[gnu::always_inline]] inline void StepRow(Strip<Kernel>* strip, Place* at) {
  at->src += at->stride;
  if constexpr (kPrefetch) __builtin_prefetch(at->src + 3 * kStripColumns);
  strip->Step(at->src, [at](uint8x16_t left, uint8x16_t right) {
    vst1q_u8(at->dst, left);
    vst1q_u8(at->dst + 16, right);
  });
  at->dst += at->pitch;
}

// Walks three rows per turn: the sums rotate through three registers, so none is moved.
template <bool kPrefetch, class Kernel>
void WalkTurns(const Kernel& kernel, Place at, std::ptrdiff_t turns,
               typename Strip<Kernel>::Sums* sums) {
  Strip<Kernel> strip(kernel, *sums);
  for (; turns > 0; --turns) {
    StepRow<kPrefetch>(&strip, &at);
    StepRow<kPrefetch>(&strip, &at);
    StepRow<kPrefetch>(&strip, &at);
  }
  *sums = strip.sums();
}

// Walks the rows below the last turn.
template <class Kernel>
void WalkRest(const Kernel& kernel, Place at, std::ptrdiff_t rows,
              typename Strip<Kernel>::Sums* sums) {
  Strip<Kernel> strip(kernel, *sums);
  for (; rows > 0; --rows) StepRow<false>(&strip, &at);
  *sums = strip.sums();
}

// Calls walk(x, y, rows) for each strip of each block. The last strip of a block moves back over
// pixels already done, or to before x = 0 with fewer than kStripColumns.
template <class WalkOne>
void ForEachStrip(std::ptrdiff_t columns, std::ptrdiff_t rows, WalkOne walk) {
  for (std::ptrdiff_t y = 0; y < rows; y += kBlockRows) {
    for (std::ptrdiff_t x = 0; x < columns; x += kStripColumns) {
      walk(std::min(x, columns - kStripColumns), y, std::min(kBlockRows, rows - y));
    }
  }
}

// Walks one panel. In one narrower than a strip, the strip begins left of `first`.
template <class Kernel>
void WalkPanel(const Kernel& kernel, const Place& first, std::ptrdiff_t columns,
               std::ptrdiff_t rows) {
  typename Strip<Kernel>::Sums kept[kPanelColumns / kStripColumns];
  ForEachStrip(columns, rows, [&](std::ptrdiff_t x, std::ptrdiff_t y, std::ptrdiff_t count) {
    const std::ptrdiff_t strip = (x + kStripColumns - 1) / kStripColumns;
    const Place at = first.Moved(x, y);
    if (y == 0) kept[strip] = FirstSums(kernel, at);
    strip % 2 == 0 ? WalkTurns<true>(kernel, at, count / 3, &kept[strip])
                   : WalkTurns<false>(kernel, at, count / 3, &kept[strip]);
    if (count % 3 != 0) WalkRest(kernel, at.Moved(0, count / 3 * 3), count % 3, &kept[strip]);
  });
}

// Walks `columns` x `rows` pixels from `first`; every pixel has source neighbours on all sides.
// `columns` is at least kStripColumns.
template <class Kernel>
void Walk(const Kernel& kernel, const Place& first, std::ptrdiff_t columns, std::ptrdiff_t rows) {
  for (std::ptrdiff_t x = 0; x < columns; x += kPanelColumns) {
    WalkPanel(kernel, first.Moved(x, 0), std::min(kPanelColumns, columns - x), rows);
  }
}

}  // namespace strips

#endif  // ZY_HAVE_NEON

#endif  // ZY_SHARPEN_STRIPS_H_
