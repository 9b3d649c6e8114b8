// SPDX-License-Identifier: Apache-2.0
// What this process holds, so that it can be compared with what it held before.
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
// Counts the threads. One comes and goes first: with it a sanitizer starts a thread of its own.
int64_t CountThreads();
// Waits until as many threads are left, for so long at most, and measures. A thread that was joined
// counts until the kernel, or an emulator, has cleared it away.
Footprint MeasureFootprint(int64_t threads, std::chrono::milliseconds timeout);

// Returns what belongs to all parts of a process, by name: open descriptors, the treatment of
// signals, the working directory, the variables of the environment.
std::map<std::string, std::string> SurveyProcess();
// Describes a difference between two surveys, "" without one. More descriptors are none.
std::string FirstDifference(const std::map<std::string, std::string>& before,
                            const std::map<std::string, std::string>& after);

}  // namespace common

#endif  // ZY_COMMON_PROCESS_STATE_H_
