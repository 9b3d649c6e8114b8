// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_CAMSIM_OPTIONS_H_
#define ZY_CAMSIM_OPTIONS_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/geometry.h"
#include "media/frame_source.h"

namespace camsim {

using common::Size;

enum class LogLevel { kNone, kError, kInfo };

// The parsed command line of camsim.
struct Options {
  std::string command;               // with a shell's quotes
  std::string node;                  // path of the library
  std::vector<std::string> devices;  // folders of the device's libraries
  media::FrameSourceOptions source;  // of the frames
  std::vector<common::Rect> faces;   // in picture pixels; empty means those of the source
  std::optional<float> found_faces;  // detect faces in each frame, from this score on
  std::optional<common::Rect> crop;  // the part of each frame that is sent; even
  bool chooses_crop = false;         // by the faces that are detected in the first frame
  std::optional<bool> upright;       // turn frames into a sensor's; unset: only with detection
  int requests = 0;                  // 0: 60 for an endless input, else all
  // Only the state that the command line gives. It holds for a whole replay, and in a script until
  // a line changes it.
  std::optional<int> orientation;
  Size sensor;  // 0x0: large enough for the frame
  std::optional<bool> quad_cfa;
  std::optional<int> role, camera;
  std::optional<bool> gender_and_age, score;
  std::string zynode_conf;     // empty leaves the property unset
  std::string operation_mask;  // empty leaves the property unset
  std::optional<int> model_delay_ms, failing_inits;
  uint32_t node_caps = 0;
  Size buffer;  // 0x0: the frame's size
  bool real_models = false;
  std::string real_device;  // folder of the libraries with real networks
  int timeout_s = 10;       // of a call of the node and of a pass; 0 for none
  bool realtime = false;
  double fps = 30.0;
  std::string jsonl;                     // a path, "-" or empty
  bool passes = false;                   // add the passes to the JSON lines
  std::string annotated = "camsim.png";  // a path or empty
  std::string annotated_clip;            // a path, "-" or empty
  bool all = false;                      // a row for every request
  std::string script;                    // a path, "-" or empty
  std::string replay;                    // a path, "-" or empty; at most one of both is set
  double tolerance = 0;                  // largest accepted difference of figures
  std::size_t differences = 20;          // limit of printed lines
  std::string trace;                     // a path or empty
  std::string report;                    // a path or empty
  std::vector<std::string> compared;     // two recordings to compare without a run
  LogLevel log = LogLevel::kNone;

  bool IsReplay() const { return !replay.empty(); }
  const std::string& ScriptPath() const { return replay.empty() ? script : replay; }
  bool IsUpright() const { return upright.value_or(found_faces.has_value()); }
};

// Parses the command line. Returns true to go on; otherwise it has printed the message, and
// `exit_code` is the program's exit code.
bool ParseOptions(int argc, char** argv, Options* options, int* exit_code);

}  // namespace camsim

#endif  // ZY_CAMSIM_OPTIONS_H_
