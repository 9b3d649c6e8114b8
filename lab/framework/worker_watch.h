// SPDX-License-Identifier: Apache-2.0
// Watches condition variables. The shared library behind this header defines the condition-variable
// functions of the C library, records each event and forwards it. A program that links it before
// the C library sees the workers of every library that it loads. A condition variable is watched
// from its initialisation, its first wait or its first signal to its destruction. Without a wait,
// it counts as idle two seconds after its first signal. Any thread.
#ifndef ZY_FRAMEWORK_WORKER_WATCH_H_
#define ZY_FRAMEWORK_WORKER_WATCH_H_

#include <chrono>
#include <cstdint>

namespace framework {

// Waits until every worker is idle: each watched condition variable has been waited on since its
// last signal. Returns false after `timeout`.
bool WaitForIdleWorkers(std::chrono::milliseconds timeout);

// Returns whether every worker is idle now.
inline bool WorkersAreIdle() { return WaitForIdleWorkers(std::chrono::milliseconds(0)); }

// Holds signals to watched condition variables while on, and forwards them when switched off. A
// request sent meanwhile ends before the worker begins with its frame. Must be off while a worker
// is destroyed, which would otherwise wait for its own end.
void HoldSignals(bool hold);

// Wakes every waiting worker spuriously, as a system may.
void WakeWorkersSpuriously();

// Counts of the workers since the program began.
struct WorkerCounts {
  uint64_t signals = 0;  // to watched condition variables, including broadcasts and held ones
  uint64_t passes = 0;   // signals that a worker has handled: it waits again
};
WorkerCounts CountWorkers();

}  // namespace framework

#endif  // ZY_FRAMEWORK_WORKER_WATCH_H_
