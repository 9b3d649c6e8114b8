// SPDX-License-Identifier: Apache-2.0
// A run as a text file, one JSON object a line: a header, then what was sent with each request and
// what came back, and between them what happened to the device. The same file, or one that a person
// writes, is a script: it says what the next run sends. docs/camsim.md has the keys.
#ifndef ZY_FRAMEWORK_RECORDING_H_
#define ZY_FRAMEWORK_RECORDING_H_

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/framework.h"
#include "media/error.h"
#include "media/geometry.h"
#include "media/nv12.h"

namespace framework {

// Keys keep their order, so that equal runs are equal texts.
using Json = nlohmann::ordered_json;

inline constexpr int kRecordingVersion = 1;
inline constexpr char kFaceRectanglesName[] = "android.statistics.faceRectangles";
// The longest line and the largest file that are read, in bytes.
inline constexpr std::size_t kMaxLine = std::size_t{1} << 20;
inline constexpr std::size_t kMaxRecording = std::size_t{1} << 28;

// A request (with the key "request"), or an event before the next one ("pipeline", "device" or
// "property").
struct Step {
  int line;  // in the file, from 1
  Json json;
  int64_t request = INT64_MAX;  // its number, or that of the one before which the event happens
  bool IsRequest() const { return json.contains("request"); }
};

struct Recording {  // NOLINT(bugprone-exception-escape): the JSON library's own move
  Json header;      // null for a script that has none
  std::vector<Step> steps;
};

// The object's line in the file, its line break included.
std::string LineOf(const Json& json);

// Reads a recording or a script. What its form does not know is a failure, whose message begins
// with the line's number and the key; what is read has every type and count that the form asks for.
// Any thread.
media::Failure ParseRecording(std::string_view text, Recording* recording);
// As above, from a file or standard input ("-"); the message begins with its name.
media::Failure ReadRecording(const std::string& path, Recording* recording);

// A digest of a frame's pixels, whatever lies between its rows: 16 hexadecimal digits.
std::string PixelDigest(const media::Nv12Frame& frame);

// Gives metadata the tags of `in`, takes those that are null away and leaves the others.
void ApplyInput(const Json& in, Metadata* metadata);
// All tags that a request may carry, by name, null for an absent one; then its faces.
Json ReadInput(Metadata& metadata, const std::vector<media::Rect>& faces);
// What a node published: the record by its fields, then every other tag by name. A figure has the
// fewest digits that give the same float; "nan", "inf" and "-inf" are texts.
Json ReadOutput(const Metadata& metadata);

// The values of a script, each of which holds until another line changes it. Of faces and raw
// rectangles the later counts, of those of one line the rectangles.
class HeldInput {
 public:
  void Change(const Json& in);
  const Json& Tags() const { return tags_; }
  // In picture pixels; nothing when no line gave faces that still count.
  const std::optional<std::vector<media::Rect>>& Faces() const { return faces_; }

 private:
  Json tags_ = Json::object();
  std::optional<std::vector<media::Rect>> faces_;
};

}  // namespace framework

#endif  // ZY_FRAMEWORK_RECORDING_H_
