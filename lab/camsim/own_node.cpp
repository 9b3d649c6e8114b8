// SPDX-License-Identifier: Apache-2.0
#include "camsim/own_node.h"

#include <algorithm>
#include <cstring>

#include "framework/frame_fate.h"
#include "platform/android_log.h"

namespace camsim {
namespace {

using record::Outcome;
using record::Why;

constexpr int32_t kWorkingRole = 1;
constexpr float kDefaultAge = 20.0f;
constexpr float kDefaultScore = 80.0f;
constexpr float kNoFaceProp = 0.7f;

bool HoldsDefaults(const framework::ResultRecord& record, int slot, float prop) {
  return record.gender[slot] == 0.0f && record.age[slot] == kDefaultAge &&
         record.score[slot] == kDefaultScore && record.prop[slot] == prop;
}

bool IsTooSmall(const RequestState& state, int slot) {
  const common::Rect& face = state.faces[static_cast<std::size_t>(slot)];
  const bool lies = *state.device.orientation != 90 && *state.device.orientation != 270;
  return (lies ? face.h : face.w) <= std::min(state.sent.width, state.sent.height) / 6;
}

bool HasFace(const RequestState& state, int slot) {
  return static_cast<std::size_t>(slot) < state.faces.size();
}

Why WithoutHandOver(const RequestState& state, const framework::ResultRecord& record, int slot) {
  const bool works = (*state.device.camera_role)[1] == kWorkingRole &&
                     (*state.device.gender_and_age != 0 || *state.device.score != 0);
  if (HoldsDefaults(record, slot, kNoFaceProp)) return Why::kNoFace;
  // A node that works gives a request without faces the defaults.
  if (!works || state.faces.empty()) return Why::kOff;
  return HasFace(state, slot) ? Why::kNotHandedOver : Why::kNoFace;
}

}  // namespace

LogWatch::LogWatch(LogLevel level, Progress* progress) : level_(level), progress_(progress) {
  framework::SetLogListener([this](const framework::LogLine& line) { return See(line); });
}

LogWatch::~LogWatch() { framework::SetLogListener(nullptr); }

Outcome LogWatch::Take(bool has_woken) {
  if (!tells_) return has_woken ? Outcome::kTaken : Outcome::kUnknown;
  return outcome_.exchange(Outcome::kNotOffered);
}

bool LogWatch::See(const framework::LogLine& line) {
  const bool is_request = std::strncmp(line.text, "ProcessRequest():", 17) == 0;
  if (is_request) tells_ = true;
  if (is_request && std::strncmp(line.text + 17, "679", 3) == 0 &&
      outcome_ == Outcome::kNotOffered) {
    outcome_ = Outcome::kSkipped;
  } else if (const auto fate = framework::FateIn(line.text)) {
    outcome_ = fate == framework::FrameFate::kTaken ? Outcome::kTaken : Outcome::kDropped;
  }
  if (level_ == LogLevel::kNone || (level_ == LogLevel::kError && line.priority < kLogError)) {
    return false;
  }
  progress_->End();  // the log prints where the progress stands
  return true;
}

record::SlotWhy WhyOf(const RequestState& state, const framework::ResultRecord& record, int slot) {
  const auto both = [](Why why) { return record::SlotWhy{why, why}; };
  if (record.face_count <= 0) return both(WithoutHandOver(state, record, slot));
  if (slot >= record.face_count || !HasFace(state, slot)) return both(Why::kNoFace);
  if (HoldsDefaults(record, slot, 0.0f)) {
    return both(state.follows_a_pass ? Why::kNoMatch : Why::kNotAnalysed);
  }
  // The figures belong to the last pass, whose face was about as large as this request's.
  const Why missing = IsTooSmall(state, slot) ? Why::kTooSmall : Why::kNotAnalysed;
  const bool has_estimates =
      record.gender[slot] != 0.0f || record.age[slot] != 0.0f || record.prop[slot] != 0.0f;
  record::SlotWhy why;
  if (!has_estimates) why.estimates = *state.device.gender_and_age != 0 ? missing : Why::kOff;
  if (record.score[slot] == 0.0f) why.score = *state.device.score != 0 ? missing : Why::kOff;
  return why;
}

}  // namespace camsim
