// SPDX-License-Identifier: Apache-2.0
// A run as a text file, one JSON object a line: a header, then what was sent with each request and
// what came back, and between them what happened to the device. The same file, or one that a person
// writes, is a script: it says what the next run sends. docs/camsim.md has the keys.
#ifndef ZY_RECORD_RECORDING_H_
#define ZY_RECORD_RECORDING_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "common/failure.h"
#include "common/geometry.h"
#include "record/comparison.h"
#include "record/request_record.h"

namespace record {

// The longest line and the largest file that are read, in bytes.
inline constexpr std::size_t kMaxLine = std::size_t{1} << 20;
inline constexpr std::size_t kMaxRecording = std::size_t{1} << 28;

// What a line of a script says of the tags: nothing of one that stays as it was, and of one that is
// absent from here on that it has no value.
template <typename T>
using Change = std::optional<std::optional<T>>;
using StateChange = framework::InputTags<Change>;

// What a line says of a request.
struct RequestStep {
  std::optional<int64_t> frame_index;
  StateChange change;
  // In picture pixels, from here on; nothing where the line gives none. Raw rectangles that the
  // line changes as well come first.
  std::optional<std::vector<common::Rect>> faces;
  Returned returned;
  bool is_recorded = false;  // something came back
};

struct Step {
  int line = 0;                 // in the file, from 1
  int64_t request = INT64_MAX;  // its number, or that of the one before which the event happens
  std::variant<RequestStep, Event> what;
};

struct Recording {
  std::optional<RunHeader> header;  // a script may have none
  std::vector<Step> steps;
};

// Reads a recording or a script. What its form does not know is a failure, whose message begins
// with the line's number and the key. Any thread.
common::Failure ParseRecording(std::string_view text, Recording* recording);
// As above, from a file or standard input ("-"); the message begins with its name. Keeps the text
// too where it is asked for.
common::Failure ReadRecording(const std::string& path, Recording* recording,
                              std::string* text = nullptr);

// Adds all requests of two recordings.
void CompareRecordings(const Recording& run, const Recording& other, Comparison* comparison);

}  // namespace record

#endif  // ZY_RECORD_RECORDING_H_
