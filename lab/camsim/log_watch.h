// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_APPS_CAMSIM_LOG_WATCH_H_
#define ZY_APPS_CAMSIM_LOG_WATCH_H_

#include <atomic>

#include "camsim/options.h"
#include "camsim/progress.h"
#include "camsim/report.h"
#include "framework/log_watch.h"

namespace camsim {

// Chooses the log lines that the device's log gets, and learns from them what became of a frame
// that was offered: our node says that it hands over, and its worker that it considers the frame.
class LogWatch {
 public:
  LogWatch(LogLevel level, Progress* progress);
  ~LogWatch();
  LogWatch(const LogWatch&) = delete;
  LogWatch& operator=(const LogWatch&) = delete;

  // Whether the node's lines tell what becomes of frames.
  bool Tells() const { return tells_; }
  // What happened since the last call; of a node that does not tell, only a worker that was seen to
  // wake says something.
  Outcome Take(bool has_woken);

 private:
  bool See(const framework::LogLine& line);

  const LogLevel level_;
  Progress* const progress_;
  std::atomic<Outcome> outcome_{Outcome::kNotOffered};
  std::atomic<bool> tells_{false};
};

}  // namespace camsim

#endif  // ZY_APPS_CAMSIM_LOG_WATCH_H_
