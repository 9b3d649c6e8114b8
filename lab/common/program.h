// SPDX-License-Identifier: Apache-2.0
// Common parts of all programs.
#ifndef ZY_COMMON_PROGRAM_H_
#define ZY_COMMON_PROGRAM_H_

#include <cstdio>
#include <filesystem>
#include <new>

namespace common {

// The project's version number, from CMakeLists.txt.
inline constexpr char kVersion[] = ZY_VERSION;

enum ExitCode {
  kExitOk = 0,
  kExitFailure = 1,
  kExitUsage = 2,
  kExitUnreadableInput = 3,
  kExitDifferences = 4,
  kExitInterrupted = 130,
};

// Returns the folder of this program's file; empty if the system does not report it.
std::filesystem::path ProgramFolder();

// Runs a program that returns an exit code; without memory it prints a line and fails.
template <typename Program>
int RunWithinMemory(const char* name, Program program) {
  try {
    return program();
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "%s: out of memory\n", name);
    return kExitFailure;
  }
}

}  // namespace common

#endif  // ZY_COMMON_PROGRAM_H_
