// SPDX-License-Identifier: Apache-2.0
// Shrinks an 8-bit plane by 2, 4 or 8 in both directions. Every output byte is the mean, rounded
// down, of a square block of source bytes.
//
// All functions take a source plane of `height` rows of `width` bytes, `stride` bytes apart. A
// negative stride walks upwards in memory from `src`. They write height / factor output rows
// without gaps from `dst` on, and drop rows and columns that fill no block at the bottom and right
// edge. The planes must not overlap. A null plane or a size below the stated minimum, negative ones
// included, writes nothing. Any thread.
#ifndef ZY_IMAGE_RESIZE_H_
#define ZY_IMAGE_RESIZE_H_

// Halves and quarters a plane whose width and height are at least 2 or 4. Writes (width / factor) *
// (height / factor) bytes. Reads only the first width / factor * factor bytes of the first height /
// factor * factor rows.
void resize_half(const unsigned char* src, unsigned char* dst, int width, int height, int stride);
void resize_quarter(const unsigned char* src, unsigned char* dst, int width, int height,
                    int stride);

// Shrinks in blocks of source columns, for widths that are multiples of 8. For those, from the
// minimum sizes on, halfUseNeon and quarterUseNeon write the same bytes as the functions above and
// read the same source bytes. eighthUseNeon writes the means of 8x8 blocks, width / 8 per row.
//
// For every other width the picture drifts. The functions consume a fixed number of columns of
// every row: halfUseNeon and quarterUseNeon width / 16 * 16, plus 8 when width % 16 is not 0;
// eighthUseNeon width / 8 * 8. An output row has consumed / factor bytes, and output row y takes
// its block of rows from
//   src + y * (factor * stride + consumed - width),
// so it starts y * (consumed - width) bytes to the right of its true place (to the left, when
// negative). From each start, the first `consumed` bytes of `factor` rows, `stride` apart, are
// read. With a positive stride and consumed above width, reads pass each row's end, and the plane's
// end by up to (height / factor) * (consumed - width) bytes. With a negative stride and consumed
// below width, they begin up to (height / factor - 1) * (width - consumed) bytes before the lowest
// row. The caller provides these bytes, and (consumed / factor) * (height / factor) destination
// bytes; no others are read or written.
//
// Minimum sizes: height at least the factor; width at least 16 for halfUseNeon and quarterUseNeon,
// at least 8 for eighthUseNeon.
void resize_halfUseNeon(const unsigned char* src, unsigned char* dst, int width, int height,
                        int stride);
void resize_quarterUseNeon(const unsigned char* src, unsigned char* dst, int width, int height,
                           int stride);
void resize_eighthUseNeon(const unsigned char* src, unsigned char* dst, int width, int height,
                          int stride);

#endif  // ZY_IMAGE_RESIZE_H_
