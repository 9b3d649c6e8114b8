// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_BASE_KERNEL_VARIANT_H_
#define ZY_BASE_KERNEL_VARIANT_H_

#include "base/neon.h"

// Which rows a kernel runs: the scalar ones, or the vector ones, with scalar ones for what is too
// narrow. Both give the same bytes. Without a vector header the vector variant is the scalar one.
enum class KernelVariant { kScalar, kVector };

inline constexpr KernelVariant kBestVariant =
    ZY_HAVE_NEON ? KernelVariant::kVector : KernelVariant::kScalar;

#endif  // ZY_BASE_KERNEL_VARIANT_H_
