// SPDX-License-Identifier: Apache-2.0
// Watches the one node of a program. A hanging call, a hanging pass, a crash and an exit end the
// program with a line on standard error that names the call and the request. Output written earlier
// stays; nothing is flushed.
#ifndef ZY_FRAMEWORK_NODE_WATCH_H_
#define ZY_FRAMEWORK_NODE_WATCH_H_

#include <atomic>
#include <chrono>
#include <string>

#include "common/failure.h"

namespace framework {

struct NodeWatchOptions {
  const char* program;  // prefix of each line; a constant
  // The limit of a call, or of a pass, without a model call; 0 for none. It does not apply while a
  // debugger traces the program, and no time passes while the program is stopped.
  std::chrono::seconds timeout;
  // While it is true, calls and passes have 0.6 s left in all. Must outlive the process.
  const std::atomic<bool>* is_interrupted;
};

// The process's only watch at a time. A hang and an exit by the node end the process with status 1,
// an interrupt with 130, a crash with its signal. Created and destroyed on the thread that calls
// the node; the rest on any thread.
class NodeWatch {
 public:
  // Starts to watch. The options of a process's first watch hold for later ones.
  explicit NodeWatch(const NodeWatchOptions& options);
  // Lets the process exit from now on. The libraries' code at their unloading is still watched.
  ~NodeWatch();
  NodeWatch(const NodeWatch&) = delete;
  NodeWatch& operator=(const NodeWatch&) = delete;

  // Loads and starts a node library and watches its calls.
  static common::Failure Load(const std::string& path);
  // Extends the limits by the time of a model call.
  static void SetModelDelay(std::chrono::milliseconds delay);
  // Records the end of a model call: a call or a pass with model calls does not hang.
  static void NoteModelCall();
};

}  // namespace framework

#endif  // ZY_FRAMEWORK_NODE_WATCH_H_
