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

// Goes through a script or a recording, request by request. Without one it asks for nothing.
class Script {
 public:
  Script(const std::string& path, const Recording& recording)
      : path_(path), steps_(recording.steps) {}

  const std::vector<Step>& Steps() const { return steps_; }
  // The number of the last request, 0 without one.
  int64_t LastRequest() const {
    for (auto step = steps_.rbegin(); step != steps_.rend(); ++step) {
      if (std::holds_alternative<RequestStep>(step->what)) return step->request;
    }
    return 0;
  }
  // The next step that belongs to the request of this number or an earlier one; null when there is
  // none left.
  const Step* Next(int64_t number) {
    return at_ < steps_.size() && steps_[at_].request <= number ? &steps_[at_++] : nullptr;
  }
  // A failure of a step, with the file's name and the line in front.
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
