// SPDX-License-Identifier: Apache-2.0
// All assumptions of the lab about this project's node beyond the interface: which log lines are
// about a frame, which values have a special meaning, which faces are analysed. For another node
// they may be wrong, but then only displayed reasons are.
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

// The only role of a camera in which the node works.
inline constexpr int32_t kWorkingRole = 1;
// With this camera the node halves rectangles even if the quad sensor is on.
inline constexpr int32_t kAlwaysHalvedCamera = 7;

// The record's values where there is no figure.
inline constexpr float kDefaultAge = 20.0f;
inline constexpr float kDefaultScore = 80.0f;
inline constexpr float kNoFaceProp = 0.7f;

// ---- Outcome of a frame -------------------------------------------------------------------------

// The node offers the frame of one request in six to its worker: 4, 10, 16 and so on.
inline constexpr uint64_t kOfferPeriod = 6;
constexpr bool IsOffered(uint64_t frame_number) { return (frame_number + 2) % kOfferPeriod == 0; }

enum class Outcome { kNotOffered, kSkipped, kDropped, kTaken, kUnknown };
inline constexpr const char* kOutcomeNames[] = {"not offered", "skipped", "dropped", "taken", "?"};
inline const char* NameOf(Outcome outcome) { return kOutcomeNames[static_cast<int>(outcome)]; }

// Parses a line of the node's log; nullopt if the line is not about a frame. The node's line about
// an offer means kSkipped. The worker's line, for one offer in four, follows it and means kTaken or
// kDropped. Both are logged on the request thread before the call returns. Any thread.
std::optional<Outcome> OutcomeIn(const char* line);

// Reads the outcome of each frame from the log. Any thread.
class OutcomeWatch {
 public:
  void See(const char* line);
  // Returns whether the node logs outcomes.
  bool LogsOutcomes() const { return logs_outcomes_; }
  // Returns the outcome since the last call. For a node that logs none, only a worker that woke up
  // gives one.
  Outcome Take(bool has_woken);

 private:
  std::atomic<Outcome> outcome_{Outcome::kNotOffered};
  std::atomic<bool> logs_outcomes_{false};
};

// Counts of the frames of one node, or of several, by outcome.
struct OutcomeCounts {
  uint64_t offered = 0, dropped = 0, taken = 0;

  void See(const char* line);
  // Returns the skipped frames: of every four offered, the first is considered and the others
  // skipped.
  uint64_t Skipped() const { return offered - (offered + 3) / 4; }
  // Returns whether each frame of a node that has ended was skipped, dropped or taken.
  bool AddUp() const { return offered == Skipped() + dropped + taken; }
  OutcomeCounts& operator+=(const OutcomeCounts& other);
};

// ---- Reasons for zeros and defaults -------------------------------------------------------------

enum class Why {
  kIsFigure,       // a figure, neither zero nor default
  kOff,            // the node, or this analysis, is switched off
  kNoFace,         // the slot holds no face
  kNotHandedOver,  // the node did not offer this request's frame to its worker
  kNotAnalysed,    // no pass has analysed this slot yet
  kNoMatch,        // the last pass had no face there
  kTooSmall,       // the face is too narrow to be analysed
};
inline constexpr const char* kWhyNames[] = {
    "", "off", "no face", "not handed over", "not analysed yet", "no match", "too small"};
inline const char* NameOf(Why why) { return kWhyNames[static_cast<int>(why)]; }

// Reasons of one slot: the estimates (gender, age, prop) and the score have separate switches.
struct SlotWhy {
  Why estimates = Why::kIsFigure;
  Why score = Why::kIsFigure;

  bool HasFigures() const { return estimates == Why::kIsFigure || score == Why::kIsFigure; }
};

// Formats the reasons of a slot in a few words; empty when all its values are figures.
std::string TextOf(SlotWhy why);

inline constexpr int kSlots = 3;
using Reasons = std::array<SlotWhy, kSlots>;

// The sender's knowledge of a request.
struct SentRequest {
  // The current state, in which camera_role, gender_and_age, score and orientation are set.
  const DeviceState& device;

  common::Size size;                       // of the frame
  const std::vector<common::Rect>& faces;  // in its pixels
  bool follows_a_pass;                     // a pass had ended before the request was sent
};

// A face that is no wider than the frame's shorter side divided by this is too small.
inline constexpr int kFaceDivisor = 6;

// Returns whether the node analyses a face by its width in the upright picture.
bool IsAnalysed(const common::Rect& face, common::Size frame, int32_t orientation);

// Returns the slots whose faces a pass over this request's frame analyses.
std::vector<int> AnalysedSlots(const SentRequest& request);

// Derives the reasons from the request's tags and from values with a special meaning.
Reasons ReasonsOf(const SentRequest& request, const ResultRecord& record);

}  // namespace framework

#endif  // ZY_FRAMEWORK_OWN_NODE_H_
