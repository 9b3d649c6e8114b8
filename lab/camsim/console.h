// SPDX-License-Identifier: Apache-2.0
// The terminal: output on standard error, and interrupts.
#ifndef ZY_CAMSIM_CONSOLE_H_
#define ZY_CAMSIM_CONSOLE_H_

#include <atomic>
#include <csignal>
#include <mutex>
#include <string>

#include "camsim/options.h"
#include "framework/own_node.h"

namespace camsim {

// Standard error: whole lines, and on a terminal one line of progress below them. Any thread.
class Progress {
 public:
  Progress();

  // Replaces the line of progress. Shows nothing where the table scrolls by.
  void Show(const std::string& text);
  // Removes it.
  void End();
  // Prints a line, with a line break if it has none.
  void Print(const std::string& line);

 private:
  void Clear();

  std::mutex mutex_;
  const bool is_shown_;
  bool is_there_ = false;
};

// Selects the log lines that the device's log prints, and passes all of them to `outcomes`.
class LogFilter {
 public:
  LogFilter(LogLevel level, framework::OutcomeWatch* outcomes, Progress* progress);
  ~LogFilter();
  LogFilter(const LogFilter&) = delete;
  LogFilter& operator=(const LogFilter&) = delete;
};

// ---- Interrupts ---------------------------------------------------------------------------------

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

inline bool Interrupted() { return g_interrupted; }

}  // namespace camsim

#endif  // ZY_CAMSIM_CONSOLE_H_
