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

// In place of a picture's name.
inline constexpr char kNoPicture[] = "none";

enum class LogLevel { kNone, kError, kInfo };

// What camsim's command line says.
struct Options {
  std::string command;               // as for a shell
  std::string node;                  // the library's path
  std::vector<std::string> devices;  // folders of the device's libraries
  media::FrameSourceOptions source;  // where the frames come from
  std::vector<common::Rect> faces;   // in picture pixels; empty takes those that the source knows
  std::optional<float> found_faces;  // or the faces found in each frame, from this score on
  std::optional<bool> upright;       // frames are turned into a sensor's; unset: if faces are found
  int requests = 0;                  // 0 is 60 of an input without an end, else all
  // Of the device's state only what the command line gives. In a replay it holds for the whole run,
  // in a script until a line changes it.
  std::optional<int> orientation;
  Size sensor;  // 0x0 chooses one that holds the frame
  std::optional<bool> quad_cfa;
  std::optional<int> role, camera;
  std::optional<bool> gender_and_age, score;
  std::string zynode_conf;     // empty leaves the property unset
  std::string operation_mask;  // likewise
  std::optional<int> model_delay_ms, failing_inits;
  uint32_t node_caps = 0;
  Size buffer;  // 0x0 is the frame's size
  bool real_models = false;
  std::string real_device;  // the folder of the libraries with real networks
  int timeout_s = 10;       // of a call of the node and of a pass; 0 for none
  bool realtime = false;
  double fps = 30.0;
  std::string jsonl;                     // a path, "-" or empty
  bool passes = false;                   // the JSON lines hold the passes as well
  std::string annotated = "camsim.png";  // a path or kNoPicture
  std::string annotated_clip;            // a path, "-" or empty
  bool all = false;                      // a row for every request
  std::string script;                    // a path, "-" or empty
  std::string replay;                    // likewise; one of both is empty
  double tolerance = 0;                  // up to which figures of a replay may differ
  std::size_t differences = 20;          // that are printed
  std::string trace;                     // a path or empty
  std::string report;                    // likewise
  std::vector<std::string> compared;     // two recordings that are compared instead of a run
  LogLevel log = LogLevel::kNone;

  bool IsReplay() const { return !replay.empty(); }
  const std::string& ScriptPath() const { return replay.empty() ? script : replay; }
  bool IsUpright() const { return upright.value_or(found_faces.has_value()); }
};

// Reads the command line. Returns true to go on; otherwise everything is said, and `exit_code` is
// what the program ends with.
bool ParseOptions(int argc, char** argv, Options* options, int* exit_code);

}  // namespace camsim

#endif  // ZY_CAMSIM_OPTIONS_H_
