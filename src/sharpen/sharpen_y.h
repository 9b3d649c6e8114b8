// SPDX-License-Identifier: Apache-2.0
// Sharpening of a luma plane with one fixed kernel, and the wall clock in milliseconds.
#ifndef ZY_SHARPEN_SHARPEN_Y_H_
#define ZY_SHARPEN_SHARPEN_Y_H_

// Sharpens the interior of a luma plane: filterCorr3x3s8_v2 (sharpen/filter_corr3x3.h) with corner
// -3, centre 76 and edge -12, byte for byte. The weights sum to 16, so flat
// regions pass unchanged.
//
// `src` has `height` rows of `width` samples, `stride` bytes apart: it holds the bytes from the
// lowest row's first sample to the highest row's last, and no other byte is read. A negative stride
// walks upwards in memory from `src`. `dst` has rows exactly `width` bytes apart. Written are rows
// 1 to height - 2, columns 1 to width - 2, which means bytes width + 1 to (height - 1) * width - 2;
// the frame of one pixel keeps what it held. The source is not copied: for a complete picture fill
// the destination with it first.
//
// A width or height below 3, negative ones included, or a null plane writes nothing. The planes
// must not overlap. Any thread.
void sharpenY(const unsigned char* src, unsigned char* dst, int width, int height, int stride);

// Sharpens, with the same kernel, only the 2x2 blocks that `mask` marks: exactly
// filterCorr3x3s8_v2WithskinMap (sharpen/filter_corr3x3.h), where the shapes, the blocks that can
// change and the no-ops (a width or height below 6, a null pointer) are told. Note that here the
// destination comes before the mask. The source is not copied. Any thread.
void sharpenYWithSkinMap(const unsigned char* src, unsigned char* dst, const unsigned char* mask,
                         int width, int height, int stride);

// Wall-clock time in milliseconds since the epoch, with the fraction that the clock's microseconds
// give. Not monotonic. 0 when the clock cannot be read. Any thread.
double now_ms();

#endif  // ZY_SHARPEN_SHARPEN_Y_H_
