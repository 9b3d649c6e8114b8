// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_CAMSIM_PASS_WATCH_H_
#define ZY_CAMSIM_PASS_WATCH_H_

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

#include "device/control.h"
#include "media/picture.h"
#include "record/request_record.h"

namespace camsim {

// The clock of a run. Any thread; starting it excludes other calls.
class Clock {
 public:
  void Start() { start_ = std::chrono::steady_clock::now(); }
  // Returns the microseconds since the start.
  int64_t Now() const {
    return (std::chrono::steady_clock::now() - start_) / std::chrono::microseconds(1);
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

// Follows the frames that workers take: the end of their pass, and its calls of model libraries
// that report them. Request thread, except for OnCall.
class PassWatch {
 public:
  // Unless `is_timed`, passes get synthetic times between two requests.
  PassWatch(const Clock& clock, bool is_timed, bool keeps_pictures)
      : clock_(clock), is_timed_(is_timed), keeps_pictures_(keeps_pictures) {}

  // Receives each analysis of a model library when it ends, on the worker's thread.
  void OnCall(record::Model model, const ZyModelCall& call);

  // Returns the number of calls so far.
  uint64_t Calls() const { return call_count_; }

  // Begins the pass over a request's frame, whose faces are in these slots.
  void HandOver(const record::RequestRecord& request, std::vector<int> slots);
  // Returns the pass of the last frame, once its worker is idle or took another; nothing if it was
  // returned before. A call begins when the previous one ends; a pass ends with its last call, or
  // now without any.
  std::optional<record::PassRecord> TakeEnded();
  // Returns the request whose pass produced the worker's results; 0 for none.
  int64_t Analysed() const { return analysed_; }
  // Ends the node's passes; the next pass belongs to another worker.
  void EndPipeline();

 private:
  const Clock& clock_;
  const bool is_timed_, keeps_pictures_;
  std::optional<record::PassRecord> pending_;
  int64_t analysed_ = 0;
  int worker_ = 1;
  std::atomic<uint64_t> call_count_{0};
  std::mutex mutex_;  // guards the calls and the picture
  std::vector<record::ModelCall> calls_;
  media::Picture seen_;
};

}  // namespace camsim

#endif  // ZY_CAMSIM_PASS_WATCH_H_
