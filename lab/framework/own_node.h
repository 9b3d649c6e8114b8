// SPDX-License-Identifier: Apache-2.0
// All that the lab assumes of this project's node beyond the interface: which log lines tell of a
// frame, which values stand for something, which faces are analysed. Of any other node the
// assumptions may be wrong, but then they are wrong in words alone.
#ifndef ZY_FRAMEWORK_OWN_NODE_H_
#define ZY_FRAMEWORK_OWN_NODE_H_

#include <array>
#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/geometry.h"
#include "framework/device_state.h"

namespace framework {

// The node works for this role of a camera alone.
inline constexpr int32_t kWorkingRole = 1;
// With this camera the node halves rectangles even while the quad sensor is on.
inline constexpr int32_t kAlwaysHalvedCamera = 7;
// A frame with faces is offered to the worker once in so many requests.
inline constexpr int kRequestsPerOffer = 6;

// What the record holds where there is no figure.
inline constexpr float kDefaultAge = 20.0f;
inline constexpr float kDefaultScore = 80.0f;
inline constexpr float kNoFaceProp = 0.7f;

// ---- What became of a frame ---------------------------------------------------------------------

enum class Outcome { kNotOffered, kSkipped, kDropped, kTaken, kUnknown };
inline constexpr const char* kOutcomeNames[] = {"not offered", "skipped", "dropped", "taken", "?"};
inline const char* NameOf(Outcome outcome) { return kOutcomeNames[static_cast<int>(outcome)]; }

// Reads the outcome of the request's frame from a log line; nothing of most lines. The node's line
// about an offer means kSkipped; the worker's, for one offer in four, follows it and means kTaken
// or kDropped. Both are logged on the request thread before the call returns. Any thread.
std::optional<Outcome> OutcomeIn(const char* line);

// Learns from the log what became of each frame. Any thread.
class OutcomeWatch {
 public:
  void See(const char* line);
  // Whether the node's lines tell what becomes of frames.
  bool Tells() const { return tells_; }
  // Returns the outcome since the last call. Of a node that does not tell, only a worker that was
  // seen to wake says something.
  Outcome Take(bool has_woken);

 private:
  std::atomic<Outcome> outcome_{Outcome::kNotOffered};
  std::atomic<bool> tells_{false};
};

// What became of the frames of one node, or of several.
struct OutcomeCounts {
  uint64_t offered = 0, dropped = 0, taken = 0;

  void See(const char* line);
  // One in four offered frames is considered, from the first on; the others are skipped.
  uint64_t Skipped() const { return offered - (offered + 3) / 4; }
  // Whether each frame of one node, which has ended, was skipped, dropped or taken.
  bool AddUp() const { return offered == Skipped() + dropped + taken; }
  OutcomeCounts& operator+=(const OutcomeCounts& other);
};

// ---- Why a figure is zero or a default ----------------------------------------------------------

enum class Why {
  kIsFigure,       // it is neither
  kOff,            // the node, or this analysis, is switched off
  kNoFace,         // the slot stands for no face
  kNotHandedOver,  // the record of a request whose frame the node did not offer to its worker
  kNotAnalysed,    // no pass has analysed this slot yet
  kNoMatch,        // the last pass saw no face there
  kTooSmall,       // the face is too narrow to be analysed
};
inline constexpr const char* kWhyNames[] = {
    "", "off", "no face", "not handed over", "not analysed yet", "no match", "too small"};
inline const char* NameOf(Why why) { return kWhyNames[static_cast<int>(why)]; }

// Of one slot: the estimates (gender, age, prop) and the score have a switch each.
struct SlotWhy {
  Why estimates = Why::kIsFigure;
  Why score = Why::kIsFigure;

  bool HasFigures() const { return estimates == Why::kIsFigure || score == Why::kIsFigure; }
};

// Formats the reasons of a slot in a few words; empty when all its figures are figures.
std::string TextOf(SlotWhy why);

inline constexpr int kSlots = 3;
using Reasons = std::array<SlotWhy, kSlots>;

// What the sender of a request knows of it.
struct SentRequest {
  const DeviceState& device;               // what holds
  common::Size size;                       // of the frame
  const std::vector<common::Rect>& faces;  // in its pixels
  bool follows_a_pass;                     // a pass had ended when the request was sent
};

// Whether a face is analysed: when it is wider, in the upright picture, than a sixth of the frame's
// shorter side.
bool IsAnalysed(const common::Rect& face, common::Size frame, int32_t orientation);

// Tells the reasons from what the request carried and from the values that stand for something.
Reasons ReasonsOf(const SentRequest& request, const ResultRecord& record);

}  // namespace framework

#endif  // ZY_FRAMEWORK_OWN_NODE_H_
