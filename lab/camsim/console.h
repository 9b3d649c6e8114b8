// SPDX-License-Identifier: Apache-2.0
// The terminal: output on standard error.
#ifndef ZY_CAMSIM_CONSOLE_H_
#define ZY_CAMSIM_CONSOLE_H_

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
  // Escapes and prints a line, with a line break.
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

}  // namespace camsim

#endif  // ZY_CAMSIM_CONSOLE_H_
