// SPDX-License-Identifier: Apache-2.0
// Correlates an 8-bit plane with a symmetric 3x3 kernel of small signed weights.
//
// A pixel's value is the sum corner * (four corner neighbours) + edge * (four edge neighbours) +
// centre * (the sample itself), limited to 0..4080 and shifted right by 4. Weights are not
// normalised; unity gain means 4 * corner + 4 * edge + centre = 16.
#ifndef ZY_SHARPEN_FILTER_CORR3X3_H_
#define ZY_SHARPEN_FILTER_CORR3X3_H_

// Filters the interior of a plane.
//
// `src` has `height` rows of `width` samples, `stride` bytes apart. No byte outside the range from
// the lowest row's first sample to the highest row's last is read. A negative stride walks upwards
// in memory from `src`. `dst` has rows exactly `width` bytes apart. Written are rows 1 to height -
// 2, columns 1 to width - 2, which means bytes width + 1 to (height - 1) * width - 2; the border of
// one pixel keeps its values.
//
// A width or height below 3 or above INT_MAX (a converted negative number), or a null plane, writes
// nothing. The planes must not overlap. Any thread.
void filterCorr3x3s8_v2(const unsigned char* src, unsigned char* dst, unsigned int width,
                        unsigned int height, signed char corner, signed char centre,
                        signed char edge, int stride);

// Filters only the blocks of 2x2 pixels that the mask marks.
//
// `mask` has one byte for each block, height / 2 rows of width / 2 bytes without gaps; any value
// but 0 marks the block of pixel rows 2by, 2by + 1 and columns 2bx, 2bx + 1. The outermost ring of
// blocks, and the last row or column of an odd size, never change and their mask bytes are not
// read: at most rows 2 to 2 * (height / 2) - 3 and columns 2 to 2 * (width / 2) - 3 are written.
// Every other destination byte keeps its value; up to 32 columns of them around a marked block,
// within that range, are rewritten with it. `src` and `dst` have the shapes given above. Of the
// source, at most rows 1 to 2 * (height / 2) - 2 and columns 1 to 2 * (width / 2) - 2 are read,
// around marked blocks only: up to 34 columns of the block's rows and of one more above and below.
//
// A width or height below 6 or above INT_MAX, or a null pointer, writes nothing. The planes must
// not overlap. Any thread.
void filterCorr3x3s8_v2WithskinMap(const unsigned char* src, const unsigned char* mask,
                                   unsigned char* dst, unsigned int width, unsigned int height,
                                   signed char corner, signed char centre, signed char edge,
                                   int stride);

#endif  // ZY_SHARPEN_FILTER_CORR3X3_H_
