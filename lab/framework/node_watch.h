// SPDX-License-Identifier: Apache-2.0
// Watches the one node that a program runs. A call that does not return, a worker's pass that does
// not end, a crash and an exit end the program with a line on standard error, which names the call
// and the request. What the program has written by then stays; nothing is flushed.
#ifndef ZY_FRAMEWORK_NODE_WATCH_H_
#define ZY_FRAMEWORK_NODE_WATCH_H_

#include <atomic>
#include <chrono>
#include <string>

#include "common/failure.h"

namespace framework {

struct NodeWatchOptions {
  const char* program;  // begins each line; a constant
  // How long a call, or a pass, may take without a model call; 0 for any time. There is no limit
  // while a debugger traces the program, and no time passes while it is stopped.
  std::chrono::seconds timeout;
  // While it is true, calls and passes have 0.6 s left in all. Must outlive the process.
  const std::atomic<bool>* is_interrupted;
};

// The watch of a process, of which there can be one. A hang, and an exit of the node's, end the
// process with status 1, an interrupt with 130, a crash with its signal. Made and
// destroyed on the thread that calls the node; the rest on any thread.
class NodeWatch {
 public:
  // Watches from now on.
  explicit NodeWatch(const NodeWatchOptions& options);
  // The process may exit from now on. What libraries do as they are unloaded is watched to the end.
  ~NodeWatch();
  NodeWatch(const NodeWatch&) = delete;
  NodeWatch& operator=(const NodeWatch&) = delete;

  // Loads a node library and starts it, as Framework::Load; its calls are watched.
  static common::Failure Load(const std::string& path);
  // Tells of the time that a model call takes, by which the limits are longer.
  static void SetModelDelay(std::chrono::milliseconds delay);
  // Tells of the end of a model call: a call or a pass in which models answer does not hang.
  static void NoteModelCall();
};

}  // namespace framework

#endif  // ZY_FRAMEWORK_NODE_WATCH_H_
