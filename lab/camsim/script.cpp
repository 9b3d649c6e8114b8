// SPDX-License-Identifier: Apache-2.0
#include "camsim/script.h"

namespace camsim {

media::Failure Script::Read(const std::string& path, bool is_replay) {
  path_ = path;
  media::Failure failure = framework::ReadRecording(path, &recording_);
  if (failure || !is_replay || !recording_.header.is_null()) return failure;
  return media::Fail(path + ": line 1: is no header of a recording");
}

int64_t Script::LastRequest() const {
  for (auto step = recording_.steps.rbegin(); step != recording_.steps.rend(); ++step) {
    if (step->IsRequest()) return step->request;
  }
  return 0;
}

const framework::Step* Script::Next(int64_t number) {
  if (at_ == recording_.steps.size() || recording_.steps[at_].request > number) return nullptr;
  const framework::Step& step = recording_.steps[at_++];
  if (step.json.contains("in")) held_.Change(step.json["in"]);
  return &step;
}

media::Failure Script::FailAt(const framework::Step& step,
                                 const media::Failure& failure) const {
  return media::Fail(path_ + ": line " + std::to_string(step.line) + ": " + failure->message);
}

}  // namespace camsim
