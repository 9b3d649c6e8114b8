// SPDX-License-Identifier: Apache-2.0
// The only file that chooses a vector header. Arm compilers bring the intrinsics; elsewhere SIMDe
// gives the same names, so that the very same kernels run under x86 sanitizers and debuggers.
// Without either, ZY_HAVE_NEON is 0 and the scalar rows do the whole work.
#ifndef ZY_BASE_NEON_H_
#define ZY_BASE_NEON_H_

#if defined(__ARM_NEON) && defined(__aarch64__)
#include <arm_neon.h>
#define ZY_HAVE_NEON 1
#elif __has_include(<simde/arm/neon.h>)
#define SIMDE_ENABLE_NATIVE_ALIASES
#include <simde/arm/neon.h>
#define ZY_HAVE_NEON 1
#else
#define ZY_HAVE_NEON 0
#endif

#if ZY_HAVE_NEON && !defined(__aarch64__)
// Members of the instruction set that SIMDe lacks.
// Macros, because the shift must stay an immediate.
#define vshrn_high_n_u16(low, value, shift) vcombine_u8(low, vshrn_n_u16(value, shift))
#define vqshrun_high_n_s16(low, value, shift) vcombine_u8(low, vqshrun_n_s16(value, shift))
#define vqshrun_high_n_s32(low, value, shift) vcombine_u16(low, vqshrun_n_s32(value, shift))
#define vmull_high_n_s16(value, factor) vmull_n_s16(vget_high_s16(value), factor)
#endif

#endif  // ZY_BASE_NEON_H_
