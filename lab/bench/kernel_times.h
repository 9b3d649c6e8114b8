// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_BENCH_KERNEL_TIMES_H_
#define ZY_BENCH_KERNEL_TIMES_H_

#include <string>

namespace bench {

// Prints the time of every task whose name contains `only`, of its peers and of a memcpy of the
// same bytes, at two sizes.
void PrintKernelTimes(const std::string& only);

}  // namespace bench

#endif  // ZY_BENCH_KERNEL_TIMES_H_
