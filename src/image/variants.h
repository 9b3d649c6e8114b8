// SPDX-License-Identifier: Apache-2.0
// The kernels of this folder with the rows chosen by the caller, for tests and benches.
#ifndef ZY_IMAGE_VARIANTS_H_
#define ZY_IMAGE_VARIANTS_H_

#include <cstdint>

#include "base/kernel_variant.h"
#include "image/zy_image_buffer.h"

int32_t ZyCopyBufferVariant(KernelVariant variant, ZyImageBuffer* dst, const ZyImageBuffer* src,
                            int32_t rotation);

void resize_halfUseNeonVariant(KernelVariant variant, const unsigned char* src, unsigned char* dst,
                               int width, int height, int stride);
void resize_quarterUseNeonVariant(KernelVariant variant, const unsigned char* src,
                                  unsigned char* dst, int width, int height, int stride);
void resize_eighthUseNeonVariant(KernelVariant variant, const unsigned char* src,
                                 unsigned char* dst, int width, int height, int stride);

#endif  // ZY_IMAGE_VARIANTS_H_
