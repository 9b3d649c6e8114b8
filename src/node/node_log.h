// SPDX-License-Identifier: Apache-2.0
// The node's log: the tag "CHIGENDERAGE" and lines that begin "%s():%d ", the reporting function
// and the line's fixed number.
#ifndef ZY_NODE_NODE_LOG_H_
#define ZY_NODE_NODE_LOG_H_

#include "node/log_lines.h"
#include "platform/android_log.h"

inline constexpr char kNodeLogTag[] = "CHIGENDERAGE";

// Logs a failure whose line is `text` alone, which ends in a line break. Any thread.
inline void LogNodeFailure(const char* function, NodeLogLine line, const char* text) {
  __android_log_print(kLogError, kNodeLogTag, "%s():%d %s", function, line, text);
}

#endif  // ZY_NODE_NODE_LOG_H_
