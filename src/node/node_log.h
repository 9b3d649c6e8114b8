// SPDX-License-Identifier: Apache-2.0
// How the node logs: tag "CHIGENDERAGE", and lines that begin "%s():%d ", the reporting function
// and a number that names the line for good, wherever the code moves. Readers filter logs by both.
#ifndef ZY_NODE_NODE_LOG_H_
#define ZY_NODE_NODE_LOG_H_

#include "platform/android_log.h"

inline constexpr char kNodeLogTag[] = "CHIGENDERAGE";

// A failure that has nothing to tell but its text, which ends in a line break. Any thread.
inline void LogNodeFailure(const char* function, int line, const char* text) {
  __android_log_print(kLogError, kNodeLogTag, "%s():%d %s", function, line, text);
}

#endif  // ZY_NODE_NODE_LOG_H_
