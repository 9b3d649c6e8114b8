// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_RECORD_REPLAY_CHECK_H_
#define ZY_RECORD_REPLAY_CHECK_H_

#include <cstdio>
#include <optional>
#include <variant>

#include "common/interrupts.h"
#include "record/recording_file.h"
#include "record/run_listener.h"

namespace record {

// Compares a run with the recording that it replays, request by request, and prints the
// differences.
class ReplayCheck : public RunListener {
 public:
  // Requests beyond `last` are not compared.
  ReplayCheck(const RecordingFile& recorded, int64_t last, Comparison* comparison, std::FILE* to)
      : recorded_(recorded), steps_(recorded), last_(last), comparison_(comparison), to_(to) {}

  void Begin(const RunHeader& header) override {
    if (recorded_.Header()) comparison_->AddHeaders(header, *recorded_.Header());
  }
  void OnEvent(const Event& event) override { comparison_->AddEvent(false, sent_ + 1, event); }

  common::Failure OnRequest(const RequestRecord& request, const media::Nv12Frame&) override {
    sent_ = request.number;
    if (common::Failure failure = FindRecorded()) return failure;
    if (!step_ || step_->request > request.number) return std::nullopt;
    const Returned returned = ReturnedWith(request);
    comparison_->Add(&returned, &std::get<RequestStep>(step_->what).returned);
    step_.reset();
    return std::nullopt;
  }

  common::Failure Finish(const Summary&) override {
    for (;; step_.reset()) {
      if (common::Failure failure = FindRecorded()) return failure;
      if (!step_ || step_->request > last_ || common::Interrupted()) break;
      comparison_->Add(nullptr, &std::get<RequestStep>(step_->what).returned);
    }
    std::fputs(comparison_->Text().c_str(), to_);
    return std::nullopt;
  }

 private:
  // Reads on to the next recorded request, unless it is there.
  common::Failure FindRecorded() {
    common::Failure failure;
    while (!step_ && !failure && !common::Interrupted()) {
      failure = steps_.Next(&step_);
      if (!step_) break;
      const auto* const event = std::get_if<Event>(&step_->what);
      if (event != nullptr && step_->request <= last_) {
        comparison_->AddEvent(true, step_->request, *event);
      }
      const auto* const request = std::get_if<RequestStep>(&step_->what);
      if (request == nullptr || !request->is_recorded) step_.reset();
    }
    return failure;
  }

  const RecordingFile& recorded_;
  StepReader steps_;
  const int64_t last_;
  int64_t sent_ = 0;
  std::optional<Step> step_;  // the next one that is compared
  Comparison* const comparison_;
  std::FILE* const to_;
};

}  // namespace record

#endif  // ZY_RECORD_REPLAY_CHECK_H_
