// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_CAMSIM_PACE_H_
#define ZY_CAMSIM_PACE_H_

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace camsim {

// Sends requests at a rate and measures the result. One thread.
class Pace {
 public:
  explicit Pace(double requests_a_second);

  // Sleeps until the next request is due; an interrupt of the program ends the sleep.
  void AwaitNext();
  // Records the microseconds that the node took for a request.
  void Note(int64_t took) { took_us_.push_back(took); }
  // Formats the result as a line; empty without requests.
  std::string Text();

 private:
  using Time = std::chrono::steady_clock::time_point;

  const double rate_;
  const std::chrono::nanoseconds period_;
  Time first_ = {};
  Time last_ = {};
  int sent_ = 0;
  int late_ = 0;
  std::vector<int64_t> took_us_;
};

}  // namespace camsim

#endif  // ZY_CAMSIM_PACE_H_
