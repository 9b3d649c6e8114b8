// SPDX-License-Identifier: Apache-2.0
// The conversion of upright_images.h in vector registers.
#ifndef ZY_ANALYSIS_UPRIGHT_ROWS_H_
#define ZY_ANALYSIS_UPRIGHT_ROWS_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace android {

// Output pixel (column, row) is source pixel
//   (x0 + column * x_per_column + row * x_per_row, y0 + column * y_per_column + row * y_per_row).
// Either x_per_row and y_per_column or the other two are 0.
struct SourceMap {
  std::ptrdiff_t x0, x_per_column, x_per_row;
  std::ptrdiff_t y0, y_per_column, y_per_row;
  bool v_first;  // the chroma pairs are taken as V, U
};

// A frame and its two images.
struct Conversion {
  const uint8_t* luma;
  const uint8_t* chroma;
  uint8_t* gray;
  uint8_t* bgr;
  std::ptrdiff_t pitch;  // of luma and chroma, in bytes
  std::ptrdiff_t chroma_rows;
  std::ptrdiff_t last_pair;  // byte of a chroma row at which its last whole pair begins
  std::ptrdiff_t columns;    // of the output
  std::ptrdiff_t rows;
  SourceMap map;

  const uint8_t* LumaRow(std::ptrdiff_t y) const { return luma + y * pitch; }
  const uint8_t* ChromaRow(std::ptrdiff_t y) const {
    return chroma + std::min(y / 2, chroma_rows - 1) * pitch;
  }
};

// Fills both output images, except columns before `first_column` (0 or 1) where source columns
// become rows. Every output pixel from there on must take its chroma from row y / 2 of its own
// source row. For a pair that begins behind `last_pair` it reads the byte behind the row; the
// caller converts those pixels again. Some pixels are written twice.
//   Returns false, with nothing written, for an image too small to fill a run or a band, and
//   without vector registers.
//   Any thread.
bool ConvertInRegisters(const Conversion& conversion, std::ptrdiff_t first_column);

}  // namespace android

#endif  // ZY_ANALYSIS_UPRIGHT_ROWS_H_
