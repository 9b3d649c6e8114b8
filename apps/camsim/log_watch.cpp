// SPDX-License-Identifier: Apache-2.0
#include "apps/camsim/log_watch.h"

#include <cstring>

#include "framework/frame_fate.h"
#include "platform/android_log.h"

namespace camsim {

LogWatch::LogWatch(LogLevel level, Progress* progress) : level_(level), progress_(progress) {
  framework::SetLogListener([this](const framework::LogLine& line) {
    See(line);
    return false;
  });
}

LogWatch::~LogWatch() { framework::SetLogListener(nullptr); }

void LogWatch::See(const framework::LogLine& line) {
  if (std::strncmp(line.text, "ProcessRequest():679", 20) == 0 &&
      outcome_ == Outcome::kNotOffered) {
    outcome_ = Outcome::kSkipped;
  } else if (const auto fate = framework::FateIn(line.text)) {
    outcome_ = fate == framework::FrameFate::kTaken ? Outcome::kTaken : Outcome::kDropped;
  }
  const bool is_error = line.priority >= kLogError;
  if (level_ == LogLevel::kNone || (level_ == LogLevel::kError && !is_error)) return;
  const std::string tag = line.tag != nullptr ? line.tag : "";
  progress_->Print((is_error ? "E/" : "I/") + tag + ": " + line.text);
}

}  // namespace camsim
