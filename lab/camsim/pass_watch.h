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

// The clock of a run. Any thread; not to be started while another one asks.
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

// Follows the frames that workers take: when their pass ends, and which calls of the model
// libraries it makes, where these tell. Request thread, but for Told.
class PassWatch {
 public:
  // Without `is_timed`, passes get their times from SetEvenTimes.
  PassWatch(const Clock& clock, bool is_timed, bool keeps_pictures)
      : clock_(clock), is_timed_(is_timed), keeps_pictures_(keeps_pictures) {}

  // What a model library calls at the end of each analysis, on the worker's thread.
  void Told(record::Model model, const ZyModelCall& call);

  // How often that was, so far.
  uint64_t Calls() const { return told_; }

  // A worker has taken the frame of a request, whose faces in these slots it analyses.
  void HandOver(const record::RequestRecord& request, std::vector<int> slots);
  // Returns the pass of the frame that was handed over, now that its worker rests or takes another;
  // nothing when it was returned before. A call begins with the end of the one before it, a pass
  // ends with its last call or, without any, now.
  std::optional<record::PassRecord> TakeEnded();
  // The request whose pass gave the worker its results; 0 for none.
  int64_t Analysed() const { return analysed_; }
  // The node goes, whatever its worker did; the next pass is another worker's.
  void EndPipeline();

 private:
  const Clock& clock_;
  const bool is_timed_, keeps_pictures_;
  std::optional<record::PassRecord> pending_;
  int64_t analysed_ = 0;
  int worker_ = 1;
  std::atomic<uint64_t> told_{0};
  std::mutex mutex_;  // of the calls and the picture
  std::vector<record::ModelCall> calls_;
  media::Picture seen_;
};

// Gives a request the place that it has at an even rate, and a pass one between two requests, its
// calls side by side: what a run that waits for its workers looks like.
record::Span EvenTime(int64_t request, double fps);
void SetEvenTimes(record::PassRecord* pass);

}  // namespace camsim

#endif  // ZY_CAMSIM_PASS_WATCH_H_
