// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_RECORD_REPLAY_CHECK_H_
#define ZY_RECORD_REPLAY_CHECK_H_

#include <cstdio>

#include "record/recording_file.h"
#include "record/run_listener.h"

namespace record {

// Compares a run with the recording that it replays, request by request, and prints the
// differences.
class ReplayCheck : public RunListener {
 public:
  // Requests beyond `last` are not compared.
  ReplayCheck(const RecordingFile& recorded, int64_t last, Comparison* comparison, std::FILE* to)
      : header_(recorded.Header()),
        recorded_(recorded, true, comparison),
        last_(last),
        comparison_(comparison),
        to_(to) {}

  void Begin(const RunHeader& header) override {
    if (header_) comparison_->AddHeaders(header, *header_);
  }
  void OnEvent(const Event& event) override { comparison_->AddEvent(false, sent_ + 1, event); }

  common::Failure OnRequest(const RequestRecord& request, const media::Nv12Frame&) override {
    sent_ = request.number;
    const Returned returned = ReturnedWith(request);
    return recorded_.CompareUpTo(sent_, &returned);
  }

  common::Failure Finish(const Summary&) override {
    common::Failure failure = recorded_.CompareUpTo(last_, nullptr);
    if (!failure) std::fputs(comparison_->Text().c_str(), to_);
    return failure;
  }

 private:
  const std::optional<RunHeader>& header_;
  RecordedRequests recorded_;
  const int64_t last_;
  int64_t sent_ = 0;
  Comparison* const comparison_;
  std::FILE* const to_;
};

}  // namespace record

#endif  // ZY_RECORD_REPLAY_CHECK_H_
