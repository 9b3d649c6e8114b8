// SPDX-License-Identifier: Apache-2.0
// The device's log library (liblog).
#ifndef ZY_PLATFORM_ANDROID_LOG_H_
#define ZY_PLATFORM_ANDROID_LOG_H_

inline constexpr int kLogInfo = 4;
inline constexpr int kLogError = 6;

// Writes one printf-style line at `priority` under `tag`, which may be null. Any thread.
// NOLINTNEXTLINE(clang-diagnostic-reserved-identifier): the name is the device's
extern "C" int __android_log_print(int priority, const char* tag, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

#endif  // ZY_PLATFORM_ANDROID_LOG_H_
