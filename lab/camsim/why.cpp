// SPDX-License-Identifier: Apache-2.0
#include "camsim/why.h"

#include <algorithm>

namespace camsim {
namespace {

constexpr float kDefaultAge = 20.0f;
constexpr float kDefaultScore = 80.0f;
constexpr float kNoFaceProp = 0.7f;

bool HoldsDefaults(const framework::ResultRecord& record, int slot, float prop) {
  return record.gender[slot] == 0.0f && record.age[slot] == kDefaultAge &&
         record.score[slot] == kDefaultScore && record.prop[slot] == prop;
}

bool IsTooSmall(const RequestState& state, int slot) {
  const media::Rect& face = state.faces[static_cast<std::size_t>(slot)];
  const bool lies = state.orientation != 90 && state.orientation != 270;
  return (lies ? face.h : face.w) <= std::min(state.width, state.height) / 6;
}

bool HasFace(const RequestState& state, int slot) {
  return static_cast<std::size_t>(slot) < state.faces.size();
}

Why WithoutHandOver(const RequestState& state, const framework::ResultRecord& record, int slot) {
  const bool works = state.node_has_role && (state.gender_and_age || state.score);
  if (HoldsDefaults(record, slot, kNoFaceProp)) return Why::kNoFace;
  // A node that works gives a request without faces the defaults.
  if (!works || state.faces.empty()) return Why::kOff;
  return HasFace(state, slot) ? Why::kNotHandedOver : Why::kNoFace;
}

const char* Word(Why why) {
  switch (why) {
    case Why::kIsFigure:
      return "";
    case Why::kOff:
      return "off";
    case Why::kNoFace:
      return "no face";
    case Why::kNotHandedOver:
      return "not handed over";
    case Why::kNotAnalysed:
      return "not analysed yet";
    case Why::kNoMatch:
      return "no match";
    case Why::kTooSmall:
      return "too small";
  }
  return "";
}

}  // namespace

SlotWhy WhyOf(const RequestState& state, const framework::ResultRecord& record, int slot) {
  const auto both = [](Why why) { return SlotWhy{why, why}; };
  if (record.face_count <= 0) return both(WithoutHandOver(state, record, slot));
  if (slot >= record.face_count || !HasFace(state, slot)) return both(Why::kNoFace);
  if (HoldsDefaults(record, slot, 0.0f)) {
    return both(state.follows_a_pass ? Why::kNoMatch : Why::kNotAnalysed);
  }
  // The figures belong to the last pass, whose face was about as large as this request's.
  const Why missing = IsTooSmall(state, slot) ? Why::kTooSmall : Why::kNotAnalysed;
  const bool has_estimates =
      record.gender[slot] != 0.0f || record.age[slot] != 0.0f || record.prop[slot] != 0.0f;
  SlotWhy why;
  if (!has_estimates) why.estimates = state.gender_and_age ? missing : Why::kOff;
  if (record.score[slot] == 0.0f) why.score = state.score ? missing : Why::kOff;
  return why;
}

std::string TextOf(SlotWhy why) {
  if (why.estimates == why.score) return Word(why.estimates);
  if (why.score == Why::kIsFigure) return std::string("estimates ") + Word(why.estimates);
  if (why.estimates == Why::kIsFigure) return std::string("score ") + Word(why.score);
  return Word(why.score == Why::kOff ? why.estimates : why.score);
}

}  // namespace camsim
