// SPDX-License-Identifier: Apache-2.0
#include "camsim/pace.h"

#include <time.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "common/interrupts.h"

namespace camsim {

Pace::Pace(double requests_a_second)
    : rate_(requests_a_second), period_(static_cast<int64_t>(1e9 / requests_a_second)) {}

void Pace::AwaitNext() {
  if (sent_ == 0) first_ = std::chrono::steady_clock::now();
  const Time due = first_ + sent_ * period_;
  const int64_t at = due.time_since_epoch() / std::chrono::nanoseconds(1);
  const timespec until = {static_cast<time_t>(at / 1'000'000'000),
                          static_cast<long>(at % 1'000'000'000)};
  while (!common::Interrupted() &&
         clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
  }
  // After an interrupt the request is sent but does not count for the rate.
  if (common::Interrupted()) return;
  last_ = std::chrono::steady_clock::now();
  late_ += last_ > due + period_ / 2;
  ++sent_;
}

std::string Pace::Text() {
  if (took_us_.empty()) return "";
  std::sort(took_us_.begin(), took_us_.end());
  const auto at = [this](std::size_t percent) {
    return static_cast<double>(took_us_[(took_us_.size() - 1) * percent / 100]) / 1000.0;
  };
  const double seconds = std::chrono::duration<double>(last_ - first_).count();
  const double reached = sent_ > 1 && seconds > 0 ? (sent_ - 1) / seconds : rate_;
  char line[256];
  std::snprintf(line, sizeof(line),
                "%.1f requests a second asked, %.1f reached; %d late by more than half a period; a "
                "request took %.2f ms in the median, %.2f ms at the 99th percentile",
                rate_, reached, late_, at(50), at(99));
  return line;
}

}  // namespace camsim
