// SPDX-License-Identifier: Apache-2.0
// What became of a frame, and why a figure is none: the words that table, recording and page share.
#ifndef ZY_RECORD_WHY_H_
#define ZY_RECORD_WHY_H_

#include <string>

namespace record {

// What became of a frame at the worker.
enum class Outcome { kNotOffered, kSkipped, kDropped, kTaken, kUnknown };
inline constexpr const char* kOutcomeNames[] = {"not offered", "skipped", "dropped", "taken", "?"};
inline const char* NameOf(Outcome outcome) { return kOutcomeNames[static_cast<int>(outcome)]; }

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
inline constexpr const char* kWhyNames[] = {
    "", "off", "no face", "not handed over", "not analysed yet", "no match", "too small"};
inline const char* NameOf(Why why) { return kWhyNames[static_cast<int>(why)]; }

// Of one slot: the estimates (gender, age, prop) and the score have a switch each.
struct SlotWhy {
  Why estimates = Why::kIsFigure;
  Why score = Why::kIsFigure;

  bool HasFigures() const { return estimates == Why::kIsFigure || score == Why::kIsFigure; }
};

// In a few words; empty when every figure of the slot is one.
inline std::string TextOf(SlotWhy why) {
  if (why.estimates == why.score) return NameOf(why.estimates);
  if (why.score == Why::kIsFigure) return std::string("estimates ") + NameOf(why.estimates);
  if (why.estimates == Why::kIsFigure) return std::string("score ") + NameOf(why.score);
  return NameOf(why.score == Why::kOff ? why.estimates : why.score);
}

}  // namespace record

#endif  // ZY_RECORD_WHY_H_
