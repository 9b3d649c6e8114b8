// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_APPS_CAMSIM_LOG_WATCH_H_
#define ZY_APPS_CAMSIM_LOG_WATCH_H_

#include <atomic>

#include "apps/camsim/options.h"
#include "apps/camsim/progress.h"
#include "apps/camsim/report.h"
#include "framework/log_watch.h"

namespace camsim {

// Prints log lines as logcat does, and learns from them what became of a frame that was offered:
// the node says that it hands over, and the worker that it considers the frame.
class LogWatch {
 public:
  LogWatch(LogLevel level, Progress* progress);
  ~LogWatch();
  LogWatch(const LogWatch&) = delete;
  LogWatch& operator=(const LogWatch&) = delete;

  // What happened since the last call.
  Outcome Take() { return outcome_.exchange(Outcome::kNotOffered); }

 private:
  void See(const framework::LogLine& line);

  const LogLevel level_;
  Progress* const progress_;
  std::atomic<Outcome> outcome_{Outcome::kNotOffered};
};

}  // namespace camsim

#endif  // ZY_APPS_CAMSIM_LOG_WATCH_H_
