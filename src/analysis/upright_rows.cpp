// SPDX-License-Identifier: Apache-2.0
#include "analysis/upright_rows.h"

#include "base/neon.h"
#include "base/row_steps.h"

namespace android {

#if ZY_HAVE_NEON

namespace {

using std::ptrdiff_t;

// Returns (a * 76283 + 32768) >> 16, clipped to a byte, for a = k - 16. The doubling high half of a
// * 10747 is a * 10747 / 32768 rounded down; halved with rounding and added to a, it is exact. Both
// stay in 16 bits for a in -243..465; only -238..459 occur.
inline uint8x8_t Clip(int16x8_t a) {
  return vqmovun_s16(vrsraq_n_s16(a, vqdmulhq_n_s16(a, 10747), 1));
}

// Returns blue, green and red of eight pixels from luma - 16, U - 128 and V - 128. Coefficients
// beyond one are split into the whole part, added directly, and the fraction: 113618 = 65536 + 2 *
// 24041, 89858 = 65536 + 2 * 12161, 45773 = 65536 - 19763.
inline uint8x8x3_t BlueGreenRed(int16x8_t luma, int16x8_t u, int16x8_t v) {
  const int16x8_t blue = vaddq_s16(u, vqrdmulhq_n_s16(u, 24041));
  const int16x8_t red = vaddq_s16(v, vqrdmulhq_n_s16(v, 12161));
  const int32x4_t green_low =
      vmlal_n_s16(vmull_n_s16(vget_low_s16(u), -22014), vget_low_s16(v), 19763);
  const int32x4_t green_high =
      vmlal_high_n_s16(base::MultiplyHigh(u, -22014), v, 19763);  // -5325442..5327693
  const int16x8_t green =
      vsubq_s16(vcombine_s16(vrshrn_n_s32(green_low, 16), vrshrn_n_s32(green_high, 16)), v);
  return {{Clip(vaddq_s16(luma, blue)), Clip(vaddq_s16(luma, green)), Clip(vaddq_s16(luma, red))}};
}

constexpr ptrdiff_t kRun = 16;

// Sixteen neighbouring pixels of the output.
struct Run {
  uint8x16_t luma;
  uint8x16_t chroma[2];  // U, V
};

inline int16x8_t LowMinus(uint8x16_t bytes, uint8_t offset) {
  return vreinterpretq_s16_u16(vsubl_u8(vget_low_u8(bytes), vdup_n_u8(offset)));
}

inline int16x8_t HighMinus(uint8x16_t bytes, uint8_t offset) {
  return vreinterpretq_s16_u16(vsubl_high_u8(bytes, vdupq_n_u8(offset)));
}

inline void StoreRun(const Run& run, uint8_t* gray, uint8_t* bgr) {
  const uint8x8x3_t low = BlueGreenRed(LowMinus(run.luma, 16), LowMinus(run.chroma[0], 128),
                                       LowMinus(run.chroma[1], 128));
  const uint8x8x3_t high = BlueGreenRed(HighMinus(run.luma, 16), HighMinus(run.chroma[0], 128),
                                        HighMinus(run.chroma[1], 128));
  const uint8x16x3_t pixels = {{vcombine_u8(low.val[0], high.val[0]),
                                vcombine_u8(low.val[1], high.val[1]),
                                vcombine_u8(low.val[2], high.val[2])}};
  vst1q_u8(gray, run.luma);
  vst3q_u8(bgr, pixels);
}

inline uint8x16_t Reverse(uint8x16_t bytes) {
  const uint8x16_t halves = vrev64q_u8(bytes);
  return vextq_u8(halves, halves, 8);
}

// Loads a run of one source row; `luma` and `chroma` point to its leftmost pixel.
template <bool kReversed>
inline Run LoadRun(const uint8_t* luma, const uint8_t* chroma) {
  const uint8x16_t y = vld2q_u8(luma).val[0];
  const uint8x16x2_t uv = vld2q_u8(chroma);
  if constexpr (kReversed) return {Reverse(y), {Reverse(uv.val[0]), Reverse(uv.val[1])}};
  return {y, {uv.val[0], uv.val[1]}};
}

// Converts source rows to rows. The last run of a row moves back onto pixels already done.
template <bool kReversed>
void ConvertRows(const Conversion& conversion) {
  const SourceMap& map = conversion.map;
  const ptrdiff_t columns = conversion.columns;
  for (ptrdiff_t row = 0; row < conversion.rows; ++row) {
    const ptrdiff_t y = map.y0 + row * map.y_per_row;
    const uint8_t* luma = conversion.LumaRow(y) + map.x0;
    const uint8_t* chroma = conversion.ChromaRow(y) + map.x0;
    uint8_t* gray = conversion.gray + row * columns;
    uint8_t* bgr = conversion.bgr + row * columns * 3;
    const auto run = [&](ptrdiff_t column) {
      const ptrdiff_t left = kReversed ? -2 * (column + kRun - 1) : 2 * column;
      StoreRun(LoadRun<kReversed>(luma + left, chroma + left), gray + column, bgr + 3 * column);
    };
    ptrdiff_t column = 0;
    for (; column + kRun <= columns; column += kRun) run(column);
    if (column < columns) run(columns - kRun);
  }
}

// Sixteen source rows of eight pixels: luma, each followed by a byte to skip, or chroma pairs.
struct Tile {
  uint8x16_t rows[16];
};

inline Tile LoadTile(const uint8_t* at, const RowSteps& rows) {
  Tile tile;
  for (ptrdiff_t i = 0; i < 16; ++i) tile.rows[i] = vld1q_u8(rows.Row(at, i));
  return tile;
}

// Moves the bytes with even indices before those with odd ones.
inline Tile Unzip(const Tile& tile) {
  Tile unzipped;
  for (ptrdiff_t i = 0; i < 8; ++i) {
    unzipped.rows[i] = vuzp1q_u8(tile.rows[2 * i], tile.rows[2 * i + 1]);
    unzipped.rows[i + 8] = vuzp2q_u8(tile.rows[2 * i], tile.rows[2 * i + 1]);
  }
  return unzipped;
}

// Exchanges rows and columns. Each step rotates the bits of a byte's index, four row bits above
// four column bits, by one.
inline Tile Transpose(const Tile& tile) { return Unzip(Unzip(Unzip(Unzip(tile)))); }

// One output row for each pixel in a cache line of a source row.
constexpr ptrdiff_t kBandRows = 32;
constexpr ptrdiff_t kTileRows = 8;

void TurnLuma(const uint8_t* at, const RowSteps& rows, Run* runs) {
  for (const Run* end = runs + kBandRows; runs != end; runs += kTileRows, at += 2 * kTileRows) {
    const Tile tile = Transpose(LoadTile(at, rows));
    for (ptrdiff_t i = 0; i < kTileRows; ++i) runs[i].luma = tile.rows[2 * i];
  }
}

void TurnChroma(const uint8_t* at, const RowSteps& rows, bool v_first, Run* runs) {
  const int u = v_first ? 1 : 0;
  for (const Run* end = runs + kBandRows; runs != end; runs += kTileRows, at += 2 * kTileRows) {
    const Tile tile = Transpose(LoadTile(at, rows));
    for (ptrdiff_t i = 0; i < kTileRows; ++i) {
      runs[i].chroma[u] = tile.rows[2 * i];
      runs[i].chroma[1 - u] = tile.rows[2 * i + 1];
    }
  }
}

// Converts source columns to rows: the runs that begin at `column` of the band that begins at
// `row`.
void ConvertBand(const Conversion& conversion, ptrdiff_t row, ptrdiff_t column) {
  const SourceMap& map = conversion.map;
  const bool leftwards = map.x_per_row < 0;
  const ptrdiff_t first_row = leftwards ? row + kBandRows - 1 : row;
  const ptrdiff_t output_step = leftwards ? -conversion.columns : conversion.columns;
  const ptrdiff_t x = map.x0 + first_row * map.x_per_row;
  const ptrdiff_t y = map.y0 + column * map.y_per_column;
  const ptrdiff_t step = map.y_per_column * conversion.pitch;
  Run runs[kBandRows];
  TurnLuma(conversion.LumaRow(y) + x, RowSteps(step), runs);
  TurnChroma(conversion.ChromaRow(y) + x, RowSteps(step / 2), map.v_first, runs);
  uint8_t* gray = conversion.gray + first_row * conversion.columns + column;
  uint8_t* bgr = conversion.bgr + 3 * (first_row * conversion.columns + column);
  const auto store = [&](ptrdiff_t i) {
    StoreRun(runs[i], gray + i * output_step, bgr + i * 3 * output_step);
  };
  for (ptrdiff_t i = 0; i < kBandRows; i += 4) {
    store(i);
    store(i + 1);
    store(i + 2);
    store(i + 3);
  }
}

// Converts all bands. A last band or run moves back onto pixels already done. Columns before
// `first_column` stay untouched.
void ConvertBands(const Conversion& conversion, ptrdiff_t first_column) {
  for (ptrdiff_t row = 0; row < conversion.rows; row += kBandRows) {
    for (ptrdiff_t column = first_column; column < conversion.columns; column += kRun) {
      ConvertBand(conversion, std::min(row, conversion.rows - kBandRows),
                  std::min(column, conversion.columns - kRun));
    }
  }
}

}  // namespace

bool ConvertInRegisters(const Conversion& conversion, ptrdiff_t first_column) {
  if (conversion.map.x_per_column != 0) {
    if (conversion.columns < kRun) return false;
    conversion.map.x_per_column < 0 ? ConvertRows<true>(conversion)
                                    : ConvertRows<false>(conversion);
    return true;
  }
  if (conversion.columns - first_column < kRun || conversion.rows < kBandRows) return false;
  ConvertBands(conversion, first_column);
  return true;
}

#else

bool ConvertInRegisters(const Conversion&, std::ptrdiff_t) { return false; }

#endif

}  // namespace android
