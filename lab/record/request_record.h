// SPDX-License-Identifier: Apache-2.0
// A run as data: each request, each pass of a worker, and the summary.
#ifndef ZY_RECORD_REQUEST_RECORD_H_
#define ZY_RECORD_REQUEST_RECORD_H_

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/geometry.h"
#include "framework/device_state.h"
#include "framework/own_node.h"
#include "media/picture.h"
#include "record/published.h"

namespace record {

using framework::DeviceState;
using framework::Outcome;
using framework::SlotWhy;
using framework::Why;

// In microseconds since the run began.
struct Span {
  int64_t at = 0;
  int64_t took = 0;
};

// One request: its input and its results.
struct RequestRecord {
  int64_t number = 0;
  int64_t frame_index = 0;  // in the input
  std::string digest;       // of the pixels sent
  DeviceState in;
  std::vector<common::Rect> faces;  // in picture pixels
  Published out;
  Outcome outcome = Outcome::kNotOffered;
  std::optional<framework::Reasons> why;  // nothing for a foreign node
  std::optional<int64_t> figures_age;     // requests since the one whose frame gave the figures
  Span time;                              // measured in real time, else synthetic at an even rate

  bool HasFigures() const {
    return why && std::any_of(why->begin(), why->end(), std::mem_fn(&SlotWhy::HasFigures));
  }
  // Returns the reasons of a slot in a few words; empty if it has all figures or there are no
  // reasons.
  std::string WhyText(std::size_t slot) const { return why ? TextOf((*why)[slot]) : ""; }
  // Returns those of all slots, nothing for an empty one.
  std::vector<Value> WhyValues() const {
    std::vector<Value> values(kSlots);
    for (std::size_t slot = 0; slot < kSlots; ++slot) {
      if (!WhyText(slot).empty()) values[slot] = WhyText(slot);
    }
    return values;
  }
};

// A model library of the device.
enum class Model { kAgeAndGender, kFaceGrade };
inline constexpr const char* kModelNames[] = {"age and gender", "face grade"};
inline const char* NameOf(Model model) { return kModelNames[static_cast<int>(model)]; }

// One call of a model library, as it reported it.
struct ModelCall {
  Model model;
  Span time;
  common::Rect face;            // in the model's picture
  std::array<float, 4> answer;  // age, prop and gender; or the score first
  std::optional<int> slot;      // of the face; nothing for a foreign node
};

// The pass of a worker over a frame.
struct PassRecord {
  int64_t request = 0;
  Span handed_over;  // the time of the request
  int worker = 1;    // counts the pipelines of a run
  Span time;
  std::vector<int> slots;  // the slots of the faces, in the order of the models' calls
  std::vector<ModelCall> calls;
  media::Picture seen;  // upright, the models' input; empty if no library reports it
};

// An event between two requests: settings of the device's libraries or properties (one without a
// value is unset), or the pipeline's restart, which has none.
struct Event {
  enum Kind { kPipeline, kDevice, kProperty };
  Kind kind;
  std::vector<std::pair<std::string, Value>> settings;
};
inline constexpr const char* kEventNames[] = {"pipeline", "device", "property"};

// Facts about a whole run: the first line of its recording. A script may omit any.
struct RunHeader {
  std::string program, node, build_id;
  std::vector<std::pair<std::string, std::string>> device;  // libraries by name, with their paths
  std::string input;
  common::Size size;  // 0x0 if omitted, like the buffer
  bool raw = false;
  int stride = 0;
  std::optional<bool> upright;
  common::Size buffer;
  uint32_t node_caps = 0;
  bool realtime = false;
  double fps = 0;                    // the rate asked for
  std::string models;                // real or fake; empty in a script
  std::string command;               // as for a shell
  std::optional<common::Rect> crop;  // the part sent; nothing for whole frames
};

struct Summary {
  int64_t sent = 0;
  int64_t skipped = 0;
  int64_t dropped = 0;
  int64_t taken = 0;
  int64_t unknown = 0;
  uint64_t analysed = 0;
  std::string pace;  // the achieved rate of a run in real time

  int64_t HandedOver() const { return skipped + dropped + taken; }
  void Count(Outcome outcome) {
    ++sent;
    skipped += outcome == Outcome::kSkipped;
    dropped += outcome == Outcome::kDropped;
    taken += outcome == Outcome::kTaken;
    unknown += outcome == Outcome::kUnknown;
  }
};

}  // namespace record

#endif  // ZY_RECORD_REQUEST_RECORD_H_
