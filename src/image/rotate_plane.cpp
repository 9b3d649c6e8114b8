// SPDX-License-Identifier: Apache-2.0
#include "image/rotate_plane.h"

#include <algorithm>

#include "base/neon.h"
#include "base/row_steps.h"

#if ZY_HAVE_NEON

namespace {

using std::ptrdiff_t;

// Tiles whose side is the number of elements in a register. A last tile that would pass the end
// moves back onto elements that are already done.
template <int kElementSize>
constexpr ptrdiff_t kTileSide = 16 / kElementSize;

// A strip of tiles is as wide as a cache line, so that each line is used completely.
template <int kElementSize>
constexpr ptrdiff_t kStripColumns = 64 / kElementSize;

template <int kElementSize>
struct Tile {
  uint8x16_t rows[kTileSide<kElementSize>];
};

template <int kElementSize>
inline uint8x16_t InterleaveLow(uint8x16_t a, uint8x16_t b) {
  if constexpr (kElementSize == 1) {
    return vzip1q_u8(a, b);
  } else {
    return vreinterpretq_u8_u16(vzip1q_u16(vreinterpretq_u16_u8(a), vreinterpretq_u16_u8(b)));
  }
}

template <int kElementSize>
inline uint8x16_t InterleaveHigh(uint8x16_t a, uint8x16_t b) {
  if constexpr (kElementSize == 1) {
    return vzip2q_u8(a, b);
  } else {
    return vreinterpretq_u8_u16(vzip2q_u16(vreinterpretq_u16_u8(a), vreinterpretq_u16_u8(b)));
  }
}

// Byte indices that reverse the order of a register's elements.
template <int kElementSize>
inline uint8x16_t ReversedPlaces() {
  constexpr uint8_t kPlaces[2][16] = {{15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0},
                                      {14, 15, 12, 13, 10, 11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1}};
  return vld1q_u8(kPlaces[kElementSize - 1]);
}

// Interleaves the upper half of the tile with the lower one, element by element.
template <int kElementSize>
inline Tile<kElementSize> Shuffle(const Tile<kElementSize>& tile) {
  constexpr ptrdiff_t kHalf = kTileSide<kElementSize> / 2;
  Tile<kElementSize> shuffled;
  for (ptrdiff_t i = 0; i < kHalf; ++i) {
    shuffled.rows[2 * i] = InterleaveLow<kElementSize>(tile.rows[i], tile.rows[i + kHalf]);
    shuffled.rows[2 * i + 1] = InterleaveHigh<kElementSize>(tile.rows[i], tile.rows[i + kHalf]);
  }
  return shuffled;
}

// Exchanges rows and columns. Each shuffle rotates the bits of an element's index, row bits above
// column bits, by one; it takes as many shuffles as a column index has bits.
template <int kElementSize>
[[gnu::always_inline]] inline void TransposeTile(const uint8_t* source, const RowSteps& source_rows,
                                                 uint8_t* destination,
                                                 const RowSteps& destination_rows) {
  constexpr ptrdiff_t kSide = kTileSide<kElementSize>;
  Tile<kElementSize> tile;
  for (ptrdiff_t i = 0; i < kSide; ++i) tile.rows[i] = vld1q_u8(source_rows.Row(source, i));
  tile = Shuffle<kElementSize>(Shuffle<kElementSize>(Shuffle<kElementSize>(tile)));
  if constexpr (kSide == 16) tile = Shuffle<kElementSize>(tile);
  for (ptrdiff_t i = 0; i < kSide; ++i)
    vst1q_u8(destination_rows.Row(destination, i), tile.rows[i]);
}

template <int kElementSize>
void TransposePlane(PlaneCopy plane) {
  constexpr ptrdiff_t kSide = kTileSide<kElementSize>;
  constexpr ptrdiff_t kStrip = kStripColumns<kElementSize>;
  const RowSteps source_rows(plane.source_pitch);
  const RowSteps destination_rows(plane.destination_pitch);
  for (ptrdiff_t strip = 0; strip < plane.columns; strip += kStrip) {
    const ptrdiff_t strip_end = std::min(strip + kStrip, plane.columns);
    for (ptrdiff_t row = 0; row < plane.rows; row += kSide) {
      const ptrdiff_t top = std::min(row, plane.rows - kSide);
      const uint8_t* source = plane.source + top * plane.source_pitch;
      uint8_t* destination = plane.destination + top * kElementSize;
      for (ptrdiff_t column = strip; column < strip_end; column += kSide) {
        const ptrdiff_t left = std::min(column, plane.columns - kSide);
        TransposeTile<kElementSize>(source + left * kElementSize, source_rows,
                                    destination + left * plane.destination_pitch, destination_rows);
      }
    }
  }
}

// Reverses a row of at least 16 bytes. A last block that would pass the end moves back onto bytes
// that are already done.
inline void ReverseRow(const uint8_t* source, uint8_t* destination, ptrdiff_t row_bytes,
                       uint8x16_t places) {
  constexpr ptrdiff_t kBlock = 16;
  constexpr ptrdiff_t kBlocks = 4;
  uint8_t* const end = destination + row_bytes;
  ptrdiff_t done = 0;
  for (; done + kBlocks * kBlock <= row_bytes; done += kBlocks * kBlock) {
    for (ptrdiff_t i = done; i < done + kBlocks * kBlock; i += kBlock) {
      vst1q_u8(end - kBlock - i, vqtbl1q_u8(vld1q_u8(source + i), places));
    }
  }
  for (; done < row_bytes; done += kBlock) {
    const ptrdiff_t i = std::min(done, row_bytes - kBlock);
    vst1q_u8(end - kBlock - i, vqtbl1q_u8(vld1q_u8(source + i), places));
  }
}

template <int kElementSize>
void ReversePlane(const PlaneCopy& plane) {
  const uint8x16_t places = ReversedPlaces<kElementSize>();
  for (ptrdiff_t row = 0; row < plane.rows; ++row) {
    ReverseRow(plane.source + row * plane.source_pitch,
               plane.destination + (plane.rows - 1 - row) * plane.destination_pitch,
               plane.columns * kElementSize, places);
  }
}

}  // namespace

template <int kElementSize>
bool RotateInRegisters(const PlaneCopy& plane, int32_t rotation) {
  constexpr ptrdiff_t kSide = kTileSide<kElementSize>;
  if (plane.columns < kSide || (rotation != 180 && plane.rows < kSide)) return false;
  PlaneCopy turned = plane;
  switch (rotation) {
    case 90:  // the transpose of the source, read upside down
      turned.source += (plane.rows - 1) * plane.source_pitch;
      turned.source_pitch = -plane.source_pitch;
      TransposePlane<kElementSize>(turned);
      return true;
    case 180:
      ReversePlane<kElementSize>(plane);
      return true;
    case 270:  // the transpose, written upside down
      turned.destination += (plane.columns - 1) * plane.destination_pitch;
      turned.destination_pitch = -plane.destination_pitch;
      TransposePlane<kElementSize>(turned);
      return true;
    default:
      return false;
  }
}

#else

template <int kElementSize>
bool RotateInRegisters(const PlaneCopy&, int32_t) {
  return false;
}

#endif

template bool RotateInRegisters<1>(const PlaneCopy& plane, int32_t rotation);
template bool RotateInRegisters<2>(const PlaneCopy& plane, int32_t rotation);
