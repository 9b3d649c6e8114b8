// SPDX-License-Identifier: Apache-2.0
#include "camsim/console.h"

#include <unistd.h>

#include <cstdio>

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
  const bool ends = !line.empty() && line.back() == '\n';
  std::fprintf(stderr, "%s%s", line.c_str(), ends ? "" : "\n");
}

void Progress::Clear() {
  if (is_there_) std::fputs("\r\033[K", stderr);
  is_there_ = false;
}

}  // namespace camsim
