// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_SIM_EXIT_CODE_H_
#define ZY_SIM_EXIT_CODE_H_

namespace sim {

// What a program of the simulator ends with.
enum ExitCode { kExitOk = 0, kExitFailure = 1, kExitUsage = 2, kExitUnreadableInput = 3 };

}  // namespace sim

#endif  // ZY_SIM_EXIT_CODE_H_
