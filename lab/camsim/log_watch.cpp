// SPDX-License-Identifier: Apache-2.0
#include "camsim/log_watch.h"

#include <cstring>

#include "framework/frame_fate.h"
#include "platform/android_log.h"

namespace camsim {

LogWatch::LogWatch(LogLevel level, Progress* progress) : level_(level), progress_(progress) {
  framework::SetLogListener([this](const framework::LogLine& line) { return See(line); });
}

LogWatch::~LogWatch() { framework::SetLogListener(nullptr); }

Outcome LogWatch::Take(bool has_woken) {
  if (!tells_) return has_woken ? Outcome::kTaken : Outcome::kUnknown;
  return outcome_.exchange(Outcome::kNotOffered);
}

bool LogWatch::See(const framework::LogLine& line) {
  const bool is_request = std::strncmp(line.text, "ProcessRequest():", 17) == 0;
  if (is_request) tells_ = true;
  if (is_request && std::strncmp(line.text + 17, "679", 3) == 0 &&
      outcome_ == Outcome::kNotOffered) {
    outcome_ = Outcome::kSkipped;
  } else if (const auto fate = framework::FateIn(line.text)) {
    outcome_ = fate == framework::FrameFate::kTaken ? Outcome::kTaken : Outcome::kDropped;
  }
  if (level_ == LogLevel::kNone || (level_ == LogLevel::kError && line.priority < kLogError)) {
    return false;
  }
  progress_->End();  // the log prints where the progress stands
  return true;
}

}  // namespace camsim
