// SPDX-License-Identifier: Apache-2.0
// Sharpens a luma plane with one fixed kernel, and reads the wall clock in milliseconds.
#ifndef ZY_SHARPEN_SHARPEN_Y_H_
#define ZY_SHARPEN_SHARPEN_Y_H_

// Sharpens the interior of a luma plane: filterCorr3x3s8_v2 (sharpen/filter_corr3x3.h) with corner
// -3, centre 76 and edge -12, byte for byte. The weights sum to 16, so flat regions pass unchanged.
//
// `src` has `height` rows of `width` samples, `stride` bytes apart. No byte outside the range from
// the lowest row's first sample to the highest row's last is read. A negative stride walks upwards
// in memory from `src`. `dst` has rows exactly `width` bytes apart. Written are rows 1 to height -
// 2, columns 1 to width - 2, which means bytes width + 1 to (height - 1) * width - 2; the border of
// one pixel keeps its values. The source is not copied: for a complete picture fill the destination
// with it first.
//
// A width or height below 3, negative ones included, or a null plane writes nothing. The planes
// must not overlap. Any thread.
void sharpenY(const unsigned char* src, unsigned char* dst, int width, int height, int stride);

// Sharpens only the 2x2 blocks that `mask` marks, with the same kernel.
// filterCorr3x3s8_v2WithskinMap (sharpen/filter_corr3x3.h) gives the shapes, the blocks that can
// change and the no-ops (a width or height below 6, a null pointer). Here the destination comes
// before the mask. The source is not copied. Any thread.
void sharpenYWithSkinMap(const unsigned char* src, unsigned char* dst, const unsigned char* mask,
                         int width, int height, int stride);

// Returns wall-clock milliseconds since the epoch, with microseconds as the fraction. Not
// monotonic. Returns 0 when the clock cannot be read. Any thread.
double now_ms();

#endif  // ZY_SHARPEN_SHARPEN_Y_H_
