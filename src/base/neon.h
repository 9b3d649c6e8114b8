// SPDX-License-Identifier: Apache-2.0
// The only file that includes a vector header: Arm's own on Arm, SIMDe elsewhere. So the same
// kernels run under x86 sanitizers and debuggers. Without either, only scalar rows run.
#ifndef ZY_BASE_NEON_H_
#define ZY_BASE_NEON_H_

#include "base/kernel_variant.h"

#if defined(__ARM_NEON) && defined(__aarch64__)
#include <arm_neon.h>
#elif ZY_HAVE_NEON
#define SIMDE_ENABLE_NATIVE_ALIASES
#include <simde/arm/neon.h>
#endif

#if ZY_HAVE_NEON

// Instructions that SIMDe lacks. Each reads or writes the upper half of a register. Any thread.
namespace base {

// Returns `low` and, above it, `value` shifted right by kShift bits and narrowed.
template <int kShift>
[[gnu::always_inline]] inline uint8x16_t ShiftNarrowHigh(uint8x8_t low, uint16x8_t value) {
#if defined(__aarch64__)
  return vshrn_high_n_u16(low, value, kShift);
#else
  return vcombine_u8(low, vshrn_n_u16(value, kShift));
#endif
}

// Does the same for signed values, limited to the unsigned range.
template <int kShift>
[[gnu::always_inline]] inline uint8x16_t ShiftSaturateHigh(uint8x8_t low, int16x8_t value) {
#if defined(__aarch64__)
  return vqshrun_high_n_s16(low, value, kShift);
#else
  return vcombine_u8(low, vqshrun_n_s16(value, kShift));
#endif
}

template <int kShift>
[[gnu::always_inline]] inline uint16x8_t ShiftSaturateHigh(uint16x4_t low, int32x4_t value) {
#if defined(__aarch64__)
  return vqshrun_high_n_s32(low, value, kShift);
#else
  return vcombine_u16(low, vqshrun_n_s32(value, kShift));
#endif
}

// Returns the products of the upper four values and `factor`.
[[gnu::always_inline]] inline int32x4_t MultiplyHigh(int16x8_t value, int16_t factor) {
#if defined(__aarch64__)
  return vmull_high_n_s16(value, factor);
#else
  return vmull_n_s16(vget_high_s16(value), factor);
#endif
}

}  // namespace base

#endif  // ZY_HAVE_NEON

#endif  // ZY_BASE_NEON_H_
