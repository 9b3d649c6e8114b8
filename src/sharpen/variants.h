// SPDX-License-Identifier: Apache-2.0
// The kit's kernels with a choice of rows, for tests and benchmarks. Each takes the variant and
// then the public function's arguments, and writes the same bytes. The public functions forward
// here with kBestVariant.
#ifndef ZY_SHARPEN_VARIANTS_H_
#define ZY_SHARPEN_VARIANTS_H_

#include "base/kernel_variant.h"

void filterCorr3x3s8_v2Variant(KernelVariant variant, const unsigned char* src, unsigned char* dst,
                               unsigned int width, unsigned int height, signed char corner,
                               signed char centre, signed char edge, int stride);

void filterCorr3x3s8_v2WithskinMapVariant(KernelVariant variant, const unsigned char* src,
                                          const unsigned char* mask, unsigned char* dst,
                                          unsigned int width, unsigned int height,
                                          signed char corner, signed char centre, signed char edge,
                                          int stride);

void sharpenYVariant(KernelVariant variant, const unsigned char* src, unsigned char* dst, int width,
                     int height, int stride);

void smoothSkinMapGaussianVariant(KernelVariant variant, unsigned char* map, unsigned int width,
                                  unsigned int height);

#endif  // ZY_SHARPEN_VARIANTS_H_
