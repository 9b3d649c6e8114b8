// SPDX-License-Identifier: Apache-2.0
// Functions of other libraries for the tasks; each library is optional.
#ifndef ZY_BENCH_PEERS_H_
#define ZY_BENCH_PEERS_H_

#include <string>

#include "bench/kernel_tasks.h"

namespace bench {

// Appends the library's contenders for the task, if any.
void AddLibyuvPeers(const Workspace& space, Task* task);
void AddOpenCvPeers(const Workspace& space, Task* task);

std::string LibyuvVersion();
std::string OpenCvVersion();

}  // namespace bench

#endif  // ZY_BENCH_PEERS_H_
