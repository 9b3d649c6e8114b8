// SPDX-License-Identifier: Apache-2.0
// The state of this process, for a comparison with an earlier one.
#ifndef ZY_COMMON_PROCESS_STATE_H_
#define ZY_COMMON_PROCESS_STATE_H_

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

namespace common {

// Returns whether times and resident memory mean little here: under a sanitizer or an emulator.
bool IsSlowMachine();

struct Footprint {
  int64_t resident_kib, threads, descriptors;
};
// Counts the threads. It starts and joins one first, because a sanitizer then starts its own.
int64_t CountThreads();
// Waits until only `threads` are left, at most for `timeout`, and measures. A joined thread counts
// until the kernel, or an emulator, removes it.
Footprint MeasureFootprint(int64_t threads, std::chrono::milliseconds timeout);

// Returns the process-wide state by name: open descriptors, signal dispositions, working directory,
// environment variables.
std::map<std::string, std::string> SurveyProcess();
// Describes a difference between two surveys, "" without one. More descriptors are none.
std::string FirstDifference(const std::map<std::string, std::string>& before,
                            const std::map<std::string, std::string>& after);

}  // namespace common

#endif  // ZY_COMMON_PROCESS_STATE_H_
