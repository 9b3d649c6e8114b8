// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_BASE_KERNEL_VARIANT_H_
#define ZY_BASE_KERNEL_VARIANT_H_

#include "base/neon.h"

// The rows that a kernel runs: scalar ones, or vector ones with scalar ones for narrow images. Both
// give identical bytes. Without a vector header, kVector runs the scalar rows.
enum class KernelVariant { kScalar, kVector };

inline constexpr KernelVariant kBestVariant =
    ZY_HAVE_NEON ? KernelVariant::kVector : KernelVariant::kScalar;

#endif  // ZY_BASE_KERNEL_VARIANT_H_
