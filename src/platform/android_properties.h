// SPDX-License-Identifier: Apache-2.0
// The device's system properties (libcutils).
#ifndef ZY_PLATFORM_ANDROID_PROPERTIES_H_
#define ZY_PLATFORM_ANDROID_PROPERTIES_H_

// Longest value of a property in bytes, its NUL included.
inline constexpr int kPropertyValueMax = 92;

// Copies the value of `key`, or `default_value` when it is unset, to `value` (kPropertyValueMax
// bytes, always NUL-terminated) and returns its length. Any thread.
extern "C" int property_get(const char* key, char* value, const char* default_value);

#endif  // ZY_PLATFORM_ANDROID_PROPERTIES_H_
