// SPDX-License-Identifier: Apache-2.0
// Other libraries' ways to do the tasks; each is there if its library was found.
#ifndef ZY_BENCH_PEERS_H_
#define ZY_BENCH_PEERS_H_

#include <string>

#include "bench/kernel_tasks.h"

namespace bench {

// Appends the library's contenders, if it has any for the task.
void AddLibyuvPeers(const Workspace& space, Task* task);
void AddOpenCvPeers(const Workspace& space, Task* task);

std::string LibyuvVersion();
std::string OpenCvVersion();

}  // namespace bench

#endif  // ZY_BENCH_PEERS_H_
