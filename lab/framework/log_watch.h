// SPDX-License-Identifier: Apache-2.0
// Captures the log of the node and the device's libraries. The shared library behind this header
// defines the device's log function. A program that links it before liblog receives every line
// first and decides which ones liblog prints.
#ifndef ZY_FRAMEWORK_LOG_WATCH_H_
#define ZY_FRAMEWORK_LOG_WATCH_H_

#include <functional>

namespace framework {

struct LogLine {
  int priority;
  const char* tag;   // null when the caller gave none
  const char* text;  // formatted; valid during the call only
};

// Calls `listener` with every line, one at a time; liblog receives the lines for which it returns
// true. With an empty listener, as initially, lines are dropped unformatted. Any thread.
void SetLogListener(std::function<bool(const LogLine&)> listener);

}  // namespace framework

#endif  // ZY_FRAMEWORK_LOG_WATCH_H_
