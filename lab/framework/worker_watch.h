// SPDX-License-Identifier: Apache-2.0
// Who waits for what. The shared library behind this header defines the condition-variable
// functions of the C library, notes each event and passes it on; a program that needs it before the
// C library sees the workers of every library that it loads. A condition variable is watched from
// its initialisation, its first wait or its first signal to its destruction; it counts as resting
// when nobody has waited on it two seconds after that first signal. Any thread.
#ifndef ZY_FRAMEWORK_WORKER_WATCH_H_
#define ZY_FRAMEWORK_WORKER_WATCH_H_

#include <chrono>
#include <cstdint>

namespace framework {

// Waits until every worker rests: until each watched condition variable has been waited on since it
// was last signalled. False after `timeout`.
bool WaitForRestingWorkers(std::chrono::milliseconds timeout);

// Whether every worker rests now.
inline bool WorkersRest() { return WaitForRestingWorkers(std::chrono::milliseconds(0)); }

// While on, signals to watched condition variables wait; switching it off passes them on. A request
// that is sent meanwhile is over before the worker begins with its frame. Not to be left on while a
// worker is destroyed: it would wait for its own end.
void HoldSignals(bool hold);

// Wakes every waiting worker without a reason, as a system may.
void WakeWorkersSpuriously();

// What workers did since the program began.
struct WorkerCounts {
  uint64_t waits = 0;    // that began
  uint64_t signals = 0;  // to watched condition variables, broadcasts and held ones among them
  uint64_t passes = 0;   // signals that a worker has treated: it has gone to rest since
};
WorkerCounts CountWorkers();

}  // namespace framework

#endif  // ZY_FRAMEWORK_WORKER_WATCH_H_
