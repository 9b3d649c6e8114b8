// SPDX-License-Identifier: Apache-2.0
#include "analysis/upright_images.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "analysis/upright_rows.h"
#include "analysis/variants.h"

namespace android {
namespace {

using std::ptrdiff_t;

// Limited-range BT.601 with 16 fractional bits.
constexpr int kClipLow = -227;
constexpr int kClipHigh = 481;

struct ColourTables {
  std::array<int16_t, 256> v_to_red{};
  std::array<int16_t, 256> u_to_blue{};
  std::array<int32_t, 256> u_to_green{};
  std::array<int32_t, 256> v_to_green{};
  std::array<uint8_t, kClipHigh - kClipLow + 1> clip{};
};

constexpr ColourTables BuildColourTables() {
  constexpr int kHalf = 32768;
  ColourTables tables;
  for (int i = 0; i < 256; ++i) {
    const auto at = static_cast<std::size_t>(i);
    const int chroma = i - 128;
    tables.v_to_red[at] = static_cast<int16_t>((89858 * chroma + kHalf) >> 16);    // -175..174
    tables.u_to_blue[at] = static_cast<int16_t>((113618 * chroma + kHalf) >> 16);  // -222..220
    tables.u_to_green[at] = -22014 * chroma + kHalf;
    tables.v_to_green[at] = -45773 * chroma;
  }
  for (int k = kClipLow; k <= kClipHigh; ++k) {
    const int value = ((k - 16) * 76283 + kHalf) >> 16;
    tables.clip[static_cast<std::size_t>(k - kClipLow)] =
        static_cast<uint8_t>(std::clamp(value, 0, 255));
  }
  return tables;
}

constexpr ColourTables kTables = BuildColourTables();

// Values: x0, x_per_column, x_per_row, y0, y_per_column, y_per_row, v_first.
SourceMap SourceMapOf(ptrdiff_t width, ptrdiff_t height, int orientation, int flip) {
  const ptrdiff_t right = width - 2;
  const ptrdiff_t bottom = height - 2;
  if (orientation == 270) return {0, 2, 0, 0, 0, 2, false};
  if (orientation == 90) return {right, -2, 0, bottom + 1, 0, -2, false};
  if (orientation == 0 && flip == 1) return {right, 0, -2, bottom + 1, -2, 0, false};
  if (orientation == 0) return {0, 0, 2, bottom, -2, 0, true};
  if (flip == 1) return {0, 0, 2, 0, 2, 0, false};
  return {right, 0, -2, 0, 2, 0, false};
}

inline uint8_t Clip(int value) { return kTables.clip[static_cast<std::size_t>(value - kClipLow)]; }

inline void StorePixel(int luma, std::size_t u, std::size_t v, uint8_t* gray, uint8_t* bgr) {
  *gray = static_cast<uint8_t>(luma);
  bgr[0] = Clip(luma + kTables.u_to_blue[u]);
  bgr[1] = Clip(luma + ((kTables.u_to_green[u] + kTables.v_to_green[v]) >> 16));
  bgr[2] = Clip(luma + kTables.v_to_red[v]);
}

void ConvertRowScalar(const Conversion& conversion, ptrdiff_t row, ptrdiff_t columns) {
  const SourceMap& map = conversion.map;
  const ptrdiff_t u_at = map.v_first ? 1 : 0;
  ptrdiff_t x = map.x0 + row * map.x_per_row;
  ptrdiff_t y = map.y0 + row * map.y_per_row;
  uint8_t* gray = conversion.gray + row * conversion.columns;
  uint8_t* bgr = conversion.bgr + row * conversion.columns * 3;
  for (ptrdiff_t column = 0; column < columns; ++column) {
    const uint8_t* pair = conversion.ChromaRow(y) + std::min(x, conversion.last_pair);
    StorePixel(conversion.LumaRow(y)[x], pair[u_at], pair[1 - u_at], gray + column,
               bgr + 3 * column);
    x += map.x_per_column;
    y += map.y_per_column;
  }
}

void ConvertScalar(const Conversion& conversion) {
  for (ptrdiff_t row = 0; row < conversion.rows; ++row) {
    ConvertRowScalar(conversion, row, conversion.columns);
  }
}

// Converts pixels again whose pair starts on the last byte of the last whole pair, in a frame of
// odd width: the vector rows read the byte behind it.
void ConvertBehindLastPair(const Conversion& conversion) {
  if (conversion.map.x0 <= conversion.last_pair) return;
  if (conversion.map.x_per_column == 0) return ConvertRowScalar(conversion, 0, conversion.columns);
  for (ptrdiff_t row = 0; row < conversion.rows; ++row) ConvertRowScalar(conversion, row, 1);
}

// Returns false, with nothing written, where the vector rows do not apply.
bool ConvertVector(const Conversion& conversion) {
  // A first column that names the chroma row below the last one is out of step with the others.
  const bool in_step =
      conversion.map.x_per_column != 0 || conversion.map.y0 / 2 < conversion.chroma_rows;
  const ptrdiff_t first_column = in_step ? 0 : 1;
  if (!ConvertInRegisters(conversion, first_column)) return false;
  if (first_column != 0) {
    for (ptrdiff_t row = 0; row < conversion.rows; ++row) {
      ConvertRowScalar(conversion, row, first_column);
    }
  }
  ConvertBehindLastPair(conversion);
  return true;
}

}  // namespace

void prepareDataForFaceAnalyseVariant(KernelVariant variant, const uint8_t* luma,
                                      const uint8_t* chroma, uint8_t* gray, uint8_t* rgb, int width,
                                      int height, int orientation, int flip) {
  if (luma == nullptr || chroma == nullptr || gray == nullptr || rgb == nullptr) return;
  if (width < 2 || height < 2) return;
  const SourceMap map = SourceMapOf(width, height, orientation, flip);
  const bool rows_stay = map.x_per_column != 0;
  Conversion conversion;
  conversion.luma = luma;
  conversion.chroma = chroma;
  conversion.gray = gray;
  conversion.bgr = rgb;
  conversion.pitch = width;
  conversion.chroma_rows = height / 2;
  conversion.last_pair = width / 2 * 2 - 2;
  conversion.columns = rows_stay ? width / 2 : height / 2;
  conversion.rows = rows_stay ? height / 2 : width / 2;
  conversion.map = map;
  if (variant == KernelVariant::kVector && ConvertVector(conversion)) return;
  ConvertScalar(conversion);
}

void prepareDataForFaceAnalyse(const uint8_t* luma, const uint8_t* chroma, uint8_t* gray,
                               uint8_t* rgb, int width, int height, int orientation, int flip) {
  prepareDataForFaceAnalyseVariant(kBestVariant, luma, chroma, gray, rgb, width, height,
                                   orientation, flip);
}

}  // namespace android

// Does nothing: the tables are constants. Starting a worker includes this call.
void VP8YUVInit() {}
