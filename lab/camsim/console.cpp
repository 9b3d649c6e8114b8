// SPDX-License-Identifier: Apache-2.0
#include "camsim/console.h"

#include <unistd.h>

#include <cstdio>

#include "common/escape.h"
#include "framework/log_watch.h"
#include "platform/android_log.h"

namespace camsim {

Progress::Progress() : is_shown_(isatty(STDERR_FILENO) != 0 && isatty(STDOUT_FILENO) == 0) {}

void Progress::Show(const std::string& text) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!is_shown_) return;
  std::fprintf(stderr, "\r\033[K%s ", text.c_str());
  is_there_ = true;
}

void Progress::End() {
  std::lock_guard<std::mutex> lock(mutex_);
  Clear();
}

void Progress::Print(const std::string& line) {
  std::lock_guard<std::mutex> lock(mutex_);
  Clear();
  std::fprintf(stderr, "%s\n", common::Escaped(line).c_str());
}

void Progress::Clear() {
  if (is_there_) std::fputs("\r\033[K", stderr);
  is_there_ = false;
}

LogFilter::LogFilter(LogLevel level, framework::OutcomeWatch* outcomes, Progress* progress) {
  framework::SetLogListener([=](const framework::LogLine& line) {
    outcomes->See(line.text);
    const bool is_printed =
        level == LogLevel::kInfo || (level == LogLevel::kError && line.priority >= kLogError);
    if (is_printed) progress->End();  // the log overwrites the line of progress
    return is_printed;
  });
}

LogFilter::~LogFilter() { framework::SetLogListener(nullptr); }

}  // namespace camsim
