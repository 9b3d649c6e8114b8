// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_COMMON_EXIT_CODE_H_
#define ZY_COMMON_EXIT_CODE_H_

#include <cstdio>
#include <new>

namespace common {

enum ExitCode {
  kExitOk = 0,
  kExitFailure = 1,
  kExitUsage = 2,
  kExitUnreadableInput = 3,
  kExitDifferences = 4,
  kExitInterrupted = 130,
};

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

#endif  // ZY_COMMON_EXIT_CODE_H_
