// SPDX-License-Identifier: Apache-2.0
// Common parts of all programs.
#ifndef ZY_COMMON_PROGRAM_H_
#define ZY_COMMON_PROGRAM_H_

#include <cstdio>
#include <new>
#include <string>

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

// Returns the folder of this program's file, with a slash at the end; empty if the system does not
// report it.
std::string ProgramFolder();

// Prints a message, escaped, on standard error. Returns the exit code.
int Say(const char* program, const std::string& message, int exit_code);

// Flushes standard output. Returns the exit code, or prints a line and returns that of a failure if
// any of the output was lost.
int EndOutput(const char* program, int exit_code);

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
