// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_APPS_CAMSIM_WHY_H_
#define ZY_APPS_CAMSIM_WHY_H_

#include <string>
#include <vector>

#include "framework/framework.h"
#include "media/geometry.h"

namespace camsim {

// Why a figure of a published record is zero or a default.
enum class Why {
  kIsFigure,       // it is neither
  kOff,            // the node, or this analysis, is switched off
  kNoFace,         // the slot stands for no face
  kNotHandedOver,  // the record of a request whose frame the node did not offer to its worker
  kNotAnalysed,    // no pass has looked at this slot yet
  kNoMatch,        // the last pass saw no face there
  kTooSmall,       // the face is too narrow to be looked at
};

// What the sender of a request knows of it.
struct RequestState {
  bool node_has_role = true;  // the camera's role is that in which the node works
  bool gender_and_age = true;
  bool score = true;
  int orientation = 0;
  int width = 0;
  int height = 0;
  std::vector<media::Rect> faces;  // in frame pixels
  bool follows_a_pass = false;        // a pass had ended when the request was sent
};

// Of one slot: the estimates (gender, age, prop) and the score have a switch each.
struct SlotWhy {
  Why estimates = Why::kIsFigure;
  Why score = Why::kIsFigure;

  bool HasFigures() const { return estimates == Why::kIsFigure || score == Why::kIsFigure; }
};

// Tells from the outside of any node: from what the request carried, from the values that stand for
// something (0, 20, 80 and 0.7, as docs/camsim.md lists them), and from the rule that a face is
// looked at when it is wider, in the upright picture, than a sixth of the frame's shorter side.
// `slot` is 0 to 2.
SlotWhy WhyOf(const RequestState& state, const framework::ResultRecord& record, int slot);

// In a few words; empty when every figure of the slot is one.
std::string TextOf(SlotWhy why);

}  // namespace camsim

#endif  // ZY_APPS_CAMSIM_WHY_H_
