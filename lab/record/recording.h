// SPDX-License-Identifier: Apache-2.0
// A run as a text file, one JSON object per line: a header, then the input and the results of each
// request, and between them the device's events. The same file, or one written by hand, is a script
// for the next run. docs/camsim.md lists the keys.
#ifndef ZY_RECORD_RECORDING_H_
#define ZY_RECORD_RECORDING_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <variant>

#include "common/failure.h"
#include "record/comparison.h"
#include "record/request_record.h"

namespace record {

// Limit of a line, in bytes.
inline constexpr std::size_t kMaxLine = std::size_t{1} << 20;
// Limits of a frame's index and of the faces of a request.
inline constexpr int64_t kMaxFrameIndex = int64_t{1} << 53;
inline constexpr std::size_t kMaxFaces = 1000;

// The input of one request from here on, and its results. Raw rectangles that the line changes as
// well as the faces come first.
struct RequestStep : Returned {
  std::optional<int64_t> frame_index;
  bool is_recorded = false;  // the line has results
};

struct Step {
  int line = 0;                 // in the file, from 1
  int64_t request = INT64_MAX;  // its number; of an event, the number of the next request
  std::variant<RequestStep, Event> what;
};

// Empty for a line that changes nothing in a run.
using Line = std::variant<std::monostate, RunHeader, RequestStep, Event>;

// Parses a line, without its line break. Unknown parts are failures; the message begins with the
// key. Only the first line may be a header. Any thread.
common::Failure ParseLine(std::string_view text, bool is_first, Line* line);

}  // namespace record

#endif  // ZY_RECORD_RECORDING_H_
