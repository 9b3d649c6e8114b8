// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_BASE_KERNEL_VARIANT_H_
#define ZY_BASE_KERNEL_VARIANT_H_

// Whether base/neon.h finds a vector header.
#if (defined(__ARM_NEON) && defined(__aarch64__)) || __has_include(<simde/arm/neon.h>)
#define ZY_HAVE_NEON 1
#else
#define ZY_HAVE_NEON 0
#endif

// The rows that a kernel runs: scalar ones, or vector ones with scalar ones for narrow images. Both
// give identical bytes. Without a vector header, kVector runs the scalar rows.
enum class KernelVariant { kScalar, kVector };

inline constexpr KernelVariant kBestVariant =
    ZY_HAVE_NEON ? KernelVariant::kVector : KernelVariant::kScalar;

#endif  // ZY_BASE_KERNEL_VARIANT_H_
