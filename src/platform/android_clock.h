// SPDX-License-Identifier: Apache-2.0
// The device's clocks (libutils).
#ifndef ZY_PLATFORM_ANDROID_CLOCK_H_
#define ZY_PLATFORM_ANDROID_CLOCK_H_

#include <cstdint>

inline constexpr int SYSTEM_TIME_MONOTONIC = 1;

// Returns the nanoseconds of `clock`. Any thread.
extern "C" int64_t systemTime(int clock);

#endif  // ZY_PLATFORM_ANDROID_CLOCK_H_
