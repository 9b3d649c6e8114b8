// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_APPS_CAMSIM_PROGRESS_H_
#define ZY_APPS_CAMSIM_PROGRESS_H_

#include <mutex>
#include <string>

namespace camsim {

// Standard error: whole lines, and on a terminal one line of progress that gives way to them. Any
// thread.
class Progress {
 public:
  Progress();

  // Replaces the line of progress. Nothing is shown where the table scrolls past anyway.
  void Show(const std::string& text);
  // Takes it away.
  void End();
  // Prints a line; a line break is added where there is none.
  void Print(const std::string& line);

 private:
  void Clear();

  std::mutex mutex_;
  const bool is_shown_;
  bool is_there_ = false;
};

}  // namespace camsim

#endif  // ZY_APPS_CAMSIM_PROGRESS_H_
