// SPDX-License-Identifier: Apache-2.0
// A crash of this process, or of a child, in words.
#ifndef ZY_FRAMEWORK_CRASH_REPORT_H_
#define ZY_FRAMEWORK_CRASH_REPORT_H_

#include <atomic>
#include <cstdint>
#include <string>

namespace framework {

// May lie in memory that processes share.
struct CrashReport {
  struct Place {
    char library[256];
    uint64_t offset;
  };

  std::atomic<bool> has_crashed;
  std::atomic<uint32_t> frame_count;
  char text[512];   // the signal, the address, and what is lent to the node there
  Place frames[6];  // the crashed one first
};

// Has a deadly signal described in `report`, which stays, before it ends the process.
void InstallCrashReport(CrashReport* report);
// Describes the frames: library, offset and the symbol where the library has one, a line for each.
std::string DescribeFrames(const CrashReport& report);

}  // namespace framework

#endif  // ZY_FRAMEWORK_CRASH_REPORT_H_
