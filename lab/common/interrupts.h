// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_COMMON_INTERRUPTS_H_
#define ZY_COMMON_INTERRUPTS_H_

#include <atomic>
#include <csignal>

namespace common {

inline std::atomic<bool> g_interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free);  // a signal handler sets it

// Lets SIGINT and SIGTERM only set a flag and end a waiting read or sleep; the second signal of a
// kind ends the program at once.
inline void CatchInterrupts() {
  struct sigaction action = {};
  action.sa_handler = [](int) { g_interrupted = true; };
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

// Returns whether the program should end. Checked in loops whose length a file determines. Any
// thread.
inline bool Interrupted() { return g_interrupted; }

}  // namespace common

#endif  // ZY_COMMON_INTERRUPTS_H_
