// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_RECORD_SCRIPT_H_
#define ZY_RECORD_SCRIPT_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "common/failure.h"
#include "record/recording.h"

namespace record {

// Iterates over a script or a recording, request by request. May be empty.
class Script {
 public:
  Script(const std::string& path, const Recording& recording)
      : path_(path), steps_(recording.steps) {}

  const std::vector<Step>& Steps() const { return steps_; }
  // Returns the number of the last request, 0 without one.
  int64_t LastRequest() const {
    for (auto step = steps_.rbegin(); step != steps_.rend(); ++step) {
      if (std::holds_alternative<RequestStep>(step->what)) return step->request;
    }
    return 0;
  }
  // Returns the next step for the request of this number or an earlier one; null when none is left.
  const Step* Next(int64_t number) {
    return at_ < steps_.size() && steps_[at_].request <= number ? &steps_[at_++] : nullptr;
  }
  // Prefixes a failure of a step with the file's name and the line.
  common::Failure FailAt(const Step& step, const common::Failure& failure) const {
    return common::Fail(path_ + ": line " + std::to_string(step.line) + ": " + failure->message);
  }

 private:
  const std::string& path_;
  const std::vector<Step>& steps_;
  std::size_t at_ = 0;
};

}  // namespace record

#endif  // ZY_RECORD_SCRIPT_H_
