// SPDX-License-Identifier: Apache-2.0
// Catches and describes a crash of this process, or of a child.
#ifndef ZY_FRAMEWORK_CRASH_REPORT_H_
#define ZY_FRAMEWORK_CRASH_REPORT_H_

#include <signal.h>

#include <atomic>
#include <cstdint>
#include <string>

namespace framework {

// Installs a handler of the deadly signals that can run on an overflown stack. It runs once; then
// the signal has its default action. With `spares_others`, handlers of others, such as a
// sanitizer's, stay.
void CatchCrashes(void (*handler)(int, siginfo_t*, void*), bool spares_others);

// May lie in shared memory.
struct CrashReport {
  struct Place {
    char library[256];
    uint64_t offset;
  };

  std::atomic<bool> has_crashed;
  std::atomic<uint32_t> frame_count;
  char text[512];   // the signal, the address, and the lent memory there
  Place frames[6];  // the crashed one first
};

// Installs handlers that describe a deadly signal in `report` before it ends the process. `report`
// must outlive the process.
void InstallCrashReport(CrashReport* report);
// Describes the frames, one per line: library, offset and the symbol, if the library has one.
std::string DescribeFrames(const CrashReport& report);

}  // namespace framework

#endif  // ZY_FRAMEWORK_CRASH_REPORT_H_
