// SPDX-License-Identifier: Apache-2.0
#include "framework/own_node.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "node/log_lines.h"

namespace framework {
namespace {

// Prefix of each line that the node logs about a request; the line's number follows.
constexpr char kRequestLine[] = "ProcessRequest():";

bool BeginsWith(const char* line, const char* begin) {
  return std::strncmp(line, begin, std::strlen(begin)) == 0;
}

bool HoldsDefaults(const ResultRecord& record, int slot, float prop) {
  return record.gender[slot] == 0.0f && record.age[slot] == kDefaultAge &&
         record.score[slot] == kDefaultScore && record.prop[slot] == prop;
}

Why WithoutHandOver(const SentRequest& request, const ResultRecord& record, int slot) {
  const bool works = (*request.device.camera_role)[1] == kWorkingRole &&
                     (*request.device.gender_and_age != 0 || *request.device.score != 0);
  if (HoldsDefaults(record, slot, kNoFaceProp)) return Why::kNoFace;
  // A working node publishes the defaults for a request without faces.
  if (!works || request.faces.empty()) return Why::kOff;
  return static_cast<std::size_t>(slot) < request.faces.size() ? Why::kNotHandedOver : Why::kNoFace;
}

SlotWhy WhyOf(const SentRequest& request, const ResultRecord& record, int slot) {
  const auto both = [](Why why) { return SlotWhy{why, why}; };
  const auto face = static_cast<std::size_t>(slot);
  if (record.face_count <= 0) return both(WithoutHandOver(request, record, slot));
  if (slot >= record.face_count || face >= request.faces.size()) return both(Why::kNoFace);
  if (HoldsDefaults(record, slot, 0.0f)) {
    return both(request.follows_a_pass ? Why::kNoMatch : Why::kNotAnalysed);
  }
  // The figures belong to the last pass, whose face had about the size of this request's.
  const DeviceState& device = request.device;
  const bool is_analysed = IsAnalysed(request.faces[face], request.size, *device.orientation);
  const Why missing = is_analysed ? Why::kNotAnalysed : Why::kTooSmall;
  const bool has_estimates =
      record.gender[slot] != 0.0f || record.age[slot] != 0.0f || record.prop[slot] != 0.0f;
  SlotWhy why;
  if (!has_estimates) why.estimates = *device.gender_and_age != 0 ? missing : Why::kOff;
  if (record.score[slot] == 0.0f) why.score = *device.score != 0 ? missing : Why::kOff;
  return why;
}

}  // namespace

std::optional<Outcome> OutcomeIn(const char* line) {
  const bool is_request = BeginsWith(line, kRequestLine);
  if (is_request && std::atoi(line + std::strlen(kRequestLine)) == kLineHandOver) {
    return Outcome::kSkipped;
  }
  int enabled = 0, analyzing = 0;
  if (std::sscanf(line, "ProcessBuffer++, mAnalyzingEnabled:%d, mIsAnalyzing:%d", &enabled,
                  &analyzing) != 2) {
    return std::nullopt;
  }
  return enabled == 1 && analyzing == 0 ? Outcome::kTaken : Outcome::kDropped;
}

void OutcomeCounts::See(const char* line) {
  const auto outcome = OutcomeIn(line);
  offered += outcome == Outcome::kSkipped;
  dropped += outcome == Outcome::kDropped;
  taken += outcome == Outcome::kTaken;
}

OutcomeCounts& OutcomeCounts::operator+=(const OutcomeCounts& other) {
  offered += other.offered;
  dropped += other.dropped;
  taken += other.taken;
  return *this;
}

void OutcomeWatch::See(const char* line) {
  if (BeginsWith(line, kRequestLine)) logs_outcomes_ = true;
  const std::optional<Outcome> outcome = OutcomeIn(line);
  if (!outcome) return;
  if (outcome != Outcome::kSkipped || outcome_ == Outcome::kNotOffered) outcome_ = *outcome;
}

Outcome OutcomeWatch::Take(bool has_woken) {
  if (!logs_outcomes_) return has_woken ? Outcome::kTaken : Outcome::kUnknown;
  return outcome_.exchange(Outcome::kNotOffered);
}

std::string TextOf(SlotWhy why) {
  if (why.estimates == why.score) return NameOf(why.estimates);
  if (why.score == Why::kIsFigure) return std::string("estimates ") + NameOf(why.estimates);
  if (why.estimates == Why::kIsFigure) return std::string("score ") + NameOf(why.score);
  return NameOf(why.score == Why::kOff ? why.estimates : why.score);
}

bool IsAnalysed(const common::Rect& face, common::Size frame, int32_t orientation) {
  const bool lies = orientation != 90 && orientation != 270;
  return (lies ? face.h : face.w) > std::min(frame.width, frame.height) / kFaceDivisor;
}

std::vector<int> AnalysedSlots(const SentRequest& request) {
  const int32_t orientation = *request.device.orientation;
  std::vector<int> slots;
  for (int slot = 0; slot < kSlots; ++slot) {
    const auto face = static_cast<std::size_t>(slot);
    if (face >= request.faces.size()) break;
    if (IsAnalysed(request.faces[face], request.size, orientation)) slots.push_back(slot);
  }
  return slots;
}

Reasons ReasonsOf(const SentRequest& request, const ResultRecord& record) {
  Reasons reasons;
  for (int slot = 0; slot < kSlots; ++slot) {
    reasons[static_cast<std::size_t>(slot)] = WhyOf(request, record, slot);
  }
  return reasons;
}

}  // namespace framework
