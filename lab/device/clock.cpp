// SPDX-License-Identifier: Apache-2.0
// Fake of libutils.
#include <time.h>

#include <atomic>

#include "device/control.h"
#include "platform/android_clock.h"

namespace {

std::atomic<uint64_t> g_clock_reads{0};
std::atomic<bool> g_clock_is_set{false};
std::atomic<int64_t> g_set_time{0};

int64_t RealTime() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * INT64_C(1'000'000'000) + now.tv_nsec;
}

}  // namespace

void device::SetClock(int64_t nanoseconds) {
  g_set_time = nanoseconds;
  g_clock_is_set = true;
}

void device::UseRealClock() { g_clock_is_set = false; }

uint64_t device::ClockReads() { return g_clock_reads; }

extern "C" int64_t systemTime(int) {
  ++g_clock_reads;
  return g_clock_is_set ? g_set_time.load() : RealTime();
}
