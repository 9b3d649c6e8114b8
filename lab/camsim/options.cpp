// SPDX-License-Identifier: Apache-2.0
#include "camsim/options.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>

#include "common/command_line.h"

namespace camsim {
namespace {

constexpr char kAbout[] =
    "camsim plays the camera framework: it loads the node library, sends it preview requests with\n"
    "pictures and metadata, and prints the record that the node publishes with each request.\n"
    "The two models are stand-ins. Their figures follow from the pixels of the face's rectangle,\n"
    "place by place and colour by colour, and are no estimates of a person. With --models real\n"
    "they are estimates by a small network, and no basis for decisions about people.";

constexpr char kExample[] =
    "Examples:\n"
    "  camsim                                       the built-in scene\n"
    "  camsim --input photo.jpg --face 420,180,300,300 --requests 30 --jsonl -\n"
    "  ffmpeg -i clip.mp4 -f yuv4mpegpipe - | camsim --input - --face 80,60,200,200\n"
    "  camsim --jsonl old.jsonl; camsim --replay old.jsonl --node other.so\n"
    "  camsim --input photo.jpg --faces auto --models real   after ./dev models\n"
    "  ffmpeg -i in.mp4 -f yuv4mpegpipe - | camsim --input - --faces auto --models real \\\n"
    "    --annotated-clip - | ffmpeg -i - out.mp4\n"
    "docs/camsim.md explains options, keys and figures.\n"
    "Exit status: 0 ok, 1 failure, 2 usage, 3 unreadable input, 4 differences,\n130 interrupted.";

std::string ProgramFolder() {
  char path[4096];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof(path));
  const std::string program(path, length > 0 ? static_cast<size_t>(length) : 0);
  return program.substr(0, program.rfind('/') + 1);
}

// The node library that was built or installed with this program.
std::string NodeOfProgram() {
  const std::string folder = ProgramFolder();
  const std::string name = "com.qti.node.brodaxgenderage.so";
  return access((folder + name).c_str(), F_OK) == 0 ? folder + name
                                                    : folder + ZY_INSTALLED_NODE_FOLDER + name;
}

// What the faces of a picture reach.
constexpr float kFaceThreshold = 0.75f;

// Not a number and infinity would pass a range.
std::string PlainNumber(const std::string& text) {
  return text.find_first_not_of("0123456789.") == std::string::npos ? "" : text + " is no number";
}

Size ParseSize(const std::string& name, const std::string& text) {
  Size size;
  char rest = 0;
  if (std::sscanf(text.c_str(), "%6dx%6d%c", &size.width, &size.height, &rest) != 2) {
    throw CLI::ValidationError(name, text + " is no size such as 1280x720");
  }
  if (!common::IsUsableSize(size.width, size.height)) {
    throw CLI::ValidationError(name, common::UnusableSize(size.width, size.height)->message);
  }
  return size;
}

common::Rect ParseRect(const std::string& name, const std::string& text) {
  common::Rect rect = {};
  char rest = 0;
  if (std::sscanf(text.c_str(), "%6d,%6d,%6d,%6d%c", &rect.x, &rect.y, &rect.w, &rect.h, &rest) !=
          4 ||
      rect.x < 0 || rect.y < 0 || rect.w <= 0 || rect.h <= 0) {
    throw CLI::ValidationError(name, text + " is no rectangle such as 420,180,300,300");
  }
  return rect;
}

float ParseFoundFaces(const std::string& text) {
  float threshold = kFaceThreshold;
  char rest = 0;
  const bool is_right =
      text == "auto" || (text.rfind("auto:", 0) == 0 &&
                         std::sscanf(text.c_str(), "auto:%8f%c", &threshold, &rest) == 1);
  if (!is_right || !(threshold > 0 && threshold <= 1)) {
    throw CLI::ValidationError("--faces", text + " is neither auto nor a score such as auto:0.6");
  }
  return threshold;
}

bool ParseModels(const std::string& text) {
  if (text == "real" || text == "stand-in") return text == "real";
  throw CLI::ValidationError("--models", text + " is neither real nor stand-in");
}

LogLevel ParseLogLevel(const std::string& name, const std::string& text) {
  if (text == "none") return LogLevel::kNone;
  if (text == "error") return LogLevel::kError;
  if (text == "info") return LogLevel::kInfo;
  throw CLI::ValidationError(name, text + " is none of error, info, none");
}

void AddSize(CLI::App* app, const std::string& name, Size* size, const std::string& about) {
  app->add_option_function<std::string>(
         name, [name, size](const std::string& text) { *size = ParseSize(name, text); }, about)
      ->type_name("WxH");
}

void AddInput(CLI::App* app, Options* options, Size* size) {
  app->add_option("--input", options->source.input,
                  "PNG, JPEG, Y4M or raw NV12; - is standard input; without it, a built-in scene")
      ->type_name("FILE|-")
      ->check(common::NotEmpty);
  AddSize(app, "--size", size, "size of raw NV12 input, or of the scene (1280x720)");
  app->add_option("--stride", options->source.stride,
                  "row pitch of the camera buffers in bytes (the multiple of 64 above the width)")
      ->check(CLI::Range(0, media::kMaxStride));
  app->add_option_function<std::vector<std::string>>(
         "--face",
         [options](const std::vector<std::string>& texts) {
           for (const std::string& text : texts) {
             options->faces.push_back(ParseRect("--face", text));
           }
         },
         "a face in picture pixels; may be repeated")
      ->type_name("X,Y,W,H")
      ->allow_extra_args(false);
  app->add_option_function<std::string>(
         "--faces",
         [options](const std::string& text) { options->found_faces = ParseFoundFaces(text); },
         "auto finds the faces of each frame, those of a score from 0.75 or the one named")
      ->type_name("auto[:SCORE]")
      ->excludes("--face");
  app->add_flag_function(
      "--upright,!--no-upright", [options](int64_t count) { options->upright = count > 0; },
      "turn each frame into what a sensor at --orientation delivers (on with --faces)");
}

void AddDeviceState(CLI::App* app, Options* options) {
  app->add_option("--requests", options->requests, "requests to send (60, or all of a clip)")
      ->check(CLI::Range(1, 100'000'000));
  app->add_option("--orientation", options->orientation,
                  "device orientation in degrees (270, at which a frame is analysed as it is)");
  AddSize(app, "--sensor", &options->sensor, "sensor size (4000x3000, or the frame's if larger)");
  app->add_flag("--quad-cfa", options->quad_cfa, "the quad sensor is on");
  app->add_option("--role", options->role, "second word of MultiCameraIdRole (1, the main camera)");
  app->add_option("--camera", options->camera, "third word of MultiCameraIdRole (0)");
  app->add_flag("--gender-age,!--no-gender-age", options->gender_and_age,
                "the gender and age switch (on)");
  app->add_flag("--score,!--no-score", options->score, "the face score switch (on)");
  app->add_option("--zynode-conf", options->zynode_conf,
                  "property persist.vendor.camera.zynode_conf, hexadecimal (unset: ffffff)");
  app->add_option("--operation-mask", options->operation_mask,
                  "property persist.vendor.camera.operationMask, hexadecimal (unset: ffffff)");
  app->add_option("--node-caps", options->node_caps, "capability mask of the node (0)");
  AddSize(app, "--buffer", &options->buffer, "negotiated buffer size (the frame's)");
}

void AddRun(CLI::App* app, Options* options) {
  app->add_option_function<std::string>(
         "--models",
         [options](const std::string& text) { options->real_models = ParseModels(text); },
         "stand-in, or real: estimates by a small network (stand-in)")
      ->type_name("WHICH");
  app->add_option("--model-delay", options->model_delay_ms, "time of one model call in ms (0)")
      ->check(CLI::Range(0, 60'000));
  app->add_option("--failing-inits", options->failing_inits,
                  "model set-ups that fail at first (0); -1 fails all");
  app->add_flag("--realtime", options->realtime,
                "pace requests at --fps and let frames drop; by default each hand-over is awaited");
  app->add_option("--fps", options->fps,
                  "requests a second with --realtime, else in the times of --trace (30)")
      ->check(PlainNumber)
      ->check(CLI::Range(0.1, 1000.0));
  app->add_flag("--all", options->all, "print every request, not only those handed over");
  app->add_option("--jsonl", options->jsonl,
                  "JSON lines, a header and one for each request, to a file or -")
      ->type_name("FILE|-")
      ->check(common::NotEmpty);
  app->add_option("--annotated", options->annotated,
                  "PNG of the last frame that came with figures (camsim.png); none for no picture")
      ->type_name("FILE|none")
      ->check([](const std::string& path) {
        return path == kNoPicture ? std::string() : common::PngName(path);
      });
  app->add_option("--annotated-clip", options->annotated_clip,
                  "Y4M of all frames, with their faces and the figures published last")
      ->type_name("FILE|-")
      ->check(common::NotEmpty);
  app->add_option_function<std::string>(
         "--log",
         [options](const std::string& text) { options->log = ParseLogLevel("--log", text); },
         "log lines to standard error: error, info or none (none)")
      ->type_name("LEVEL");
  app->add_option("--node", options->node, "the node library (the one beside this program)")
      ->check(common::NotEmpty);
  app->add_option("--device", options->devices,
                  "a folder with libraries of the device; may be repeated, the first that has one "
                  "wins; at last come the stand-ins of this program")
      ->type_name("DIR")
      ->allow_extra_args(false)
      ->check(common::NotEmpty);
}

void AddRecordings(CLI::App* app, Options* options) {
  const auto file = [](const std::string& path) {
    return path == "-" ? "is not written to standard output; name a file" : common::NotEmpty(path);
  };
  app->add_option("--script", options->script, "send what a script or a recording says")
      ->type_name("FILE|-")
      ->check(common::NotEmpty);
  app->add_option("--replay", options->replay,
                  "send what a recording (--jsonl) says, and compare what comes back")
      ->type_name("FILE|-")
      ->check(common::NotEmpty)
      ->excludes("--script");
  app->add_option("--trace", options->trace, "trace events, for a trace viewer")
      ->type_name("FILE")
      ->check(file);
  app->add_option("--report", options->report, "the run as a page of HTML")
      ->type_name("FILE")
      ->check(file);
}

// For replays and for comparisons without a run.
void AddComparison(CLI::App* app, Options* options) {
  app->add_option("--tolerance", options->tolerance, "by which figures may differ (0)")
      ->check(PlainNumber);
  app->add_option("--differences", options->differences, "differences to print (20)");
}

void AddDiff(CLI::App* app, Options* options) {
  CLI::App* diff = app->add_subcommand("diff", "compare two recordings without a run");
  diff->add_option("recordings", options->compared, "two files that --jsonl wrote")
      ->required()
      ->expected(2);
  AddComparison(diff, options);
}

}  // namespace

bool ParseOptions(int argc, char** argv, Options* options, int* exit_code) {
  options->node = NodeOfProgram();
  options->real_device = ProgramFolder() + "device-real";
  Size size;
  CLI::App app(kAbout, "camsim");
  app.footer(kExample);
  AddInput(&app, options, &size);
  AddDeviceState(&app, options);
  AddRun(&app, options);
  AddRecordings(&app, options);
  AddComparison(&app, options);
  AddDiff(&app, options);
  if (!common::ParseCommandLine(argc, argv, &app, exit_code)) return false;
  if (options->real_models) {
    options->devices.insert(options->devices.begin(), options->real_device);
  }
  options->source.width = size.width;
  options->source.height = size.height;
  return true;
}

}  // namespace camsim
