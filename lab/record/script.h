// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_RECORD_SCRIPT_H_
#define ZY_RECORD_SCRIPT_H_

#include <cstdint>
#include <optional>
#include <string>

#include "common/failure.h"
#include "record/recording_file.h"

namespace record {

// Iterates over a script or a recording, request by request.
class Script {
 public:
  explicit Script(const RecordingFile& file) : file_(file), steps_(file) {}

  // Reads the next step for the request of this number or an earlier one; empty when none is left.
  common::Failure Next(int64_t number, std::optional<Step>* step) {
    step->reset();
    if (!ahead_ && !at_end_) {
      if (common::Failure failure = steps_.Next(&ahead_)) return failure;
      at_end_ = !ahead_;
    }
    if (ahead_ && ahead_->request <= number) step->swap(ahead_);
    return std::nullopt;
  }
  // Prefixes a failure of a step with the file's name and the line.
  common::Failure FailAt(const Step& step, const common::Failure& failure) const {
    return common::Fail(file_.Name() + ": line " + std::to_string(step.line) + ": " +
                        failure->message);
  }

 private:
  const RecordingFile& file_;
  StepReader steps_;
  std::optional<Step> ahead_;
  bool at_end_ = false;
};

}  // namespace record

#endif  // ZY_RECORD_SCRIPT_H_
