// SPDX-License-Identifier: Apache-2.0
// Describes a crash of this process, or of a child.
#ifndef ZY_FRAMEWORK_CRASH_REPORT_H_
#define ZY_FRAMEWORK_CRASH_REPORT_H_

#include <atomic>
#include <cstdint>
#include <string>

namespace framework {

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
