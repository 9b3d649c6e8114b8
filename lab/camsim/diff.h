// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_APPS_CAMSIM_DIFF_H_
#define ZY_APPS_CAMSIM_DIFF_H_

#include "camsim/options.h"

namespace camsim {

// Compares the two recordings that the options name and prints what differs. Returns what the
// program ends with.
int Diff(const Options& options);

}  // namespace camsim

#endif  // ZY_APPS_CAMSIM_DIFF_H_
