// SPDX-License-Identifier: Apache-2.0
// The kernels of this folder with the rows chosen by the caller, for tests and benches.
#ifndef ZY_ANALYSIS_VARIANTS_H_
#define ZY_ANALYSIS_VARIANTS_H_

#include <cstdint>

#include "base/kernel_variant.h"

namespace android {

void prepareDataForFaceAnalyseVariant(KernelVariant variant, const uint8_t* luma,
                                      const uint8_t* chroma, uint8_t* gray, uint8_t* rgb, int width,
                                      int height, int orientation, int flip);

}  // namespace android

#endif  // ZY_ANALYSIS_VARIANTS_H_
