// SPDX-License-Identifier: Apache-2.0
// Compiles only if the genuine Android headers declare the same as ours: three functions with C
// linkage and the same signature (a different one is an error), and the same constants.
#include <android/log.h>
#include <cutils/properties.h>
#include <sys/time.h>

namespace genuine {
#include <utils/Timers.h>
}

#include <type_traits>

#include "platform/android_clock.h"
#include "platform/android_log.h"
#include "platform/android_properties.h"

static_assert(kLogInfo == ANDROID_LOG_INFO && kLogError == ANDROID_LOG_ERROR);
static_assert(::SYSTEM_TIME_MONOTONIC == genuine::SYSTEM_TIME_MONOTONIC);
static_assert(std::is_same_v<decltype(::systemTime), decltype(genuine::systemTime)>);
static_assert(kPropertyValueMax == PROPERTY_VALUE_MAX);
