// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_RECORD_REPLAY_CHECK_H_
#define ZY_RECORD_REPLAY_CHECK_H_

#include <cstddef>
#include <cstdio>
#include <variant>

#include "record/recording.h"
#include "record/run_listener.h"

namespace record {

// Compares a run with the recording that it replays, request by request, and prints the
// differences.
class ReplayCheck : public RunListener {
 public:
  // Requests beyond `last` are not compared.
  ReplayCheck(const Recording& recorded, int64_t last, Comparison* comparison, std::FILE* to)
      : recorded_(recorded), last_(last), comparison_(comparison), to_(to) {}

  common::Failure OnRequest(const RequestRecord& request, const media::Nv12Frame&) override {
    if (const RequestStep* recorded = NextUpTo(request.number)) {
      const Returned returned = ReturnedWith(request);
      comparison_->Add(&returned, &recorded->returned);
    }
    return std::nullopt;
  }

  common::Failure Finish(const Summary&) override {
    while (const RequestStep* missing = NextUpTo(last_)) {
      comparison_->Add(nullptr, &missing->returned);
    }
    std::fputs(comparison_->Text().c_str(), to_);
    return std::nullopt;
  }

 private:
  // Returns the next recorded request, up to this number.
  const RequestStep* NextUpTo(int64_t number) {
    while (at_ < recorded_.steps.size() && recorded_.steps[at_].request <= number) {
      const auto* const step = std::get_if<RequestStep>(&recorded_.steps[at_++].what);
      if (step != nullptr && step->is_recorded) return step;
    }
    return nullptr;
  }

  const Recording& recorded_;
  const int64_t last_;
  Comparison* const comparison_;
  std::FILE* const to_;
  std::size_t at_ = 0;
};

}  // namespace record

#endif  // ZY_RECORD_REPLAY_CHECK_H_
