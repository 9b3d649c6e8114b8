// SPDX-License-Identifier: Apache-2.0
#include "camsim/options.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <utility>

#include "camsim/option_values.h"
#include "common/command_line.h"
#include "common/program.h"
#include "record/recording.h"

namespace camsim {
namespace {

constexpr char kAbout[] =
    "camsim plays the camera framework: it loads the node library, sends it preview requests with\n"
    "pictures and metadata, and prints the record that the node publishes with each request.\n"
    "The two models are fakes. Their figures are sums over the pixels in the face's rectangle,\n"
    "and no estimates of a person. With --models real they are estimates by a small network, and\n"
    "no basis for decisions about people.";

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

// Returns the node library that was built or installed with this program.
std::string NodeOfProgram() {
  constexpr char kName[] = "com.qti.node.brodaxgenderage.so";
  const std::string folder = common::ProgramFolder();
  std::error_code none;
  const bool is_built = std::filesystem::exists(folder + kName, none);
  return folder + (is_built ? "" : ZY_INSTALLED_NODE_FOLDER) + kName;
}

// Returns the command line with a shell's quotes.
std::string CommandOf(int argc, char** argv) {
  std::string command = "camsim";
  for (int i = 1; i < argc; ++i) {
    std::string word = argv[i];
    const bool is_plain =
        !word.empty() && std::all_of(word.begin(), word.end(), [](unsigned char c) {
          return std::isalnum(c) != 0 || std::strchr("_-+=.,:/@%", c) != nullptr;
        });
    for (std::size_t at = 0; (at = word.find('\'', at)) != word.npos; at += 4) {
      word.replace(at, 1, "'\\''");
    }
    command += " " + (is_plain ? word : "'" + word + "'");
  }
  return command;
}

// Adds an option whose text a parser converts into `to`.
template <typename Value>
common::CommandOption AddParsed(common::Command* command, const std::string& name,
                                std::string (*parse)(const std::string&, Value*), Value* to,
                                const std::string& about) {
  const auto take = [parse, to](const std::string& text) { return parse(text, to); };
  return command->AddText(name, take, about);
}

// Adds an option for a path that a check accepts.
common::CommandOption AddPath(common::Command* command, const std::string& name, std::string* path,
                              const std::string& about, common::TakeText check = common::NotEmpty) {
  return command->Add(name, path, about).Checks(std::move(check));
}

void AddInput(common::Command* command, Options* options, Size* size) {
  AddPath(command, "--input FILE|-", &options->source.input,
          "PNG, JPEG, Y4M or raw NV12; - is standard input; without it, a built-in scene");
  AddParsed(command, "--size WxH", ParseSize, size,
            "size of raw NV12 input, or of the scene (1280x720)");
  command
      ->Add("--stride", &options->source.stride,
            "row pitch of the camera buffers in bytes (the multiple of 64 above the width)")
      .Within(0, media::kMaxStride);
  const common::CommandOption given =
      AddParsed(command, "--face X,Y,W,H", ParseFace, &options->faces,
                "a face in picture pixels; may be repeated")
          .Takes(1, static_cast<int>(record::kMaxFaces))
          .Repeats();
  AddParsed(command, "--faces auto[:SCORE]", ParseFoundFaces, &options->found_faces,
            "auto detects the faces of each frame whose score is at least SCORE (0.75)")
      .Excludes(given);
  AddParsed(command, "--crop X,Y,W,H|auto", ParseCrop, options,
            "send this part of each frame, as a camera that zooms; auto follows --faces auto");
  command->AddFlag("--upright,!--no-upright", &options->upright,
                   "turn each frame as a sensor at --orientation delivers it (on with --faces)");
}

void AddDeviceState(common::Command* command, Options* options) {
  command->Add("--requests", &options->requests, "requests to send (60, or all of a clip)")
      .Within(1, 100'000'000);
  command
      ->Add("--orientation", &options->orientation,
            "device orientation in degrees (270, at which frames are analysed without rotation)")
      .Checks(QuarterTurn);
  AddParsed(command, "--sensor WxH", ParseSize, &options->sensor,
            "sensor size (4000x3000, or the frame's if larger)");
  command->AddFlag("--quad-cfa", &options->quad_cfa, "the quad sensor is on");
  command->Add("--role", &options->role, "second word of MultiCameraIdRole (1, the main camera)");
  command->Add("--camera", &options->camera, "third word of MultiCameraIdRole (0)");
  command->AddFlag("--gender-age,!--no-gender-age", &options->gender_and_age,
                   "the gender and age switch (on)");
  command->AddFlag("--score,!--no-score", &options->score, "the face score switch (on)");
  command
      ->Add("--zynode-conf", &options->zynode_conf,
            "property persist.vendor.camera.zynode_conf, hexadecimal (unset: ffffff)")
      .Checks(Hexadecimal);
  command
      ->Add("--operation-mask", &options->operation_mask,
            "property persist.vendor.camera.operationMask, hexadecimal (unset: ffffff)")
      .Checks(Hexadecimal);
  command->Add("--node-caps", &options->node_caps, "capability mask of the node (0)");
  AddParsed(command, "--buffer WxH", ParseSize, &options->buffer,
            "negotiated buffer size (the frame's)");
}

void AddRun(common::Command* command, Options* options) {
  AddParsed(command, "--models WHICH", ParseModels, &options->real_models,
            "fake, or real: estimates by a small network (fake)");
  command->Add("--model-delay", &options->model_delay_ms, "time of one model call in ms (0)")
      .Within(0, 60'000);
  command->Add("--failing-inits", &options->failing_inits,
               "number of model set-ups that fail first (0); -1 fails all");
  command
      ->Add("--timeout", &options->timeout_s,
            "seconds after which a call of the node, or a worker's pass, counts as hanging (10); 0 "
            "for none")
      .Within(0, 1'000'000);
  command->AddFlag(
      "--realtime", &options->realtime,
      "pace requests at --fps and let frames drop; by default camsim waits for each pass");
  command
      ->Add("--fps", &options->fps,
            "requests per second with --realtime, else in the timestamps of --trace (30)")
      .Checks(PlainNumber)
      .Within(0.1, 1000.0);
  command->AddFlag("--all", &options->all, "print every request, not only those handed over");
  AddPath(command, "--jsonl FILE|-", &options->jsonl,
          "JSON lines: a header and one for each request; - is standard output");
  command->AddFlag("--passes", &options->passes,
                   "add a line for each pass of the worker to the JSON lines");
  AddParsed(command, "--annotated FILE|none", ParsePicture, &options->annotated,
            "PNG of the last frame with figures (camsim.png); none writes no picture");
  AddPath(command, "--annotated-clip FILE|-", &options->annotated_clip,
          "Y4M of all frames, with their faces and the figures published last");
  AddParsed(command, "--log LEVEL", ParseLogLevel, &options->log,
            "log lines to standard error: error, info or none (none)");
  command->Add("--node", &options->node, "the node library (the one beside this program)")
      .Checks(common::NotEmpty);
  command
      ->Add("--device DIR", &options->devices,
            "a folder with libraries of the device; may be repeated; the first that has a library "
            "wins, this program's fakes come last")
      .Repeats()
      .Checks(common::NotEmpty);
}

// Adds the options for replays and for comparisons without a run.
std::array<common::CommandOption, 2> AddComparison(common::Command* command, Options* options) {
  return {command
              ->Add("--tolerance", &options->tolerance,
                    "largest accepted difference of two figures (0)")
              .Checks(PlainNumber),
          command->Add("--differences", &options->differences, "differences to print (20)")};
}

void AddRecordings(common::Command* command, Options* options) {
  const common::CommandOption script = AddPath(command, "--script FILE|-", &options->script,
                                               "send the requests of a script or a recording");
  const common::CommandOption replay =
      AddPath(command, "--replay FILE|-", &options->replay,
              "send the requests of a recording (--jsonl), and compare the results")
          .Excludes(script);
  for (common::CommandOption& option : AddComparison(command, options)) option.Needs(replay);
  AddPath(command, "--trace FILE", &options->trace, "trace events, for a trace viewer",
          common::NamedFile);
  AddPath(command, "--report FILE", &options->report, "the run as a page of HTML",
          common::NamedFile);
}

void AddDiff(common::Command* command, Options* options) {
  common::Command diff = command->AddCommand("diff", "compare two recordings without a run");
  diff.Add("recordings", &options->compared, "two files that --jsonl wrote")
      .IsRequired()
      .Takes(2, 2);
  AddComparison(&diff, options);
  AddPath(&diff, "--report FILE", &options->report,
          "both, as a page of HTML that shows the differences", common::NamedFile);
}

}  // namespace

bool ParseOptions(int argc, char** argv, Options* options, int* exit_code) {
  options->command = CommandOf(argc, argv);
  options->node = NodeOfProgram();
  options->real_device = common::ProgramFolder() + "device-real";
  Size size;
  common::CommandLine line("camsim", kAbout, kExample);
  AddInput(&line, options, &size);
  AddDeviceState(&line, options);
  AddRun(&line, options);
  AddRecordings(&line, options);
  AddDiff(&line, options);
  if (!line.Parse(argc, argv, exit_code)) return false;
  if (options->chooses_crop && !options->found_faces) {
    std::fputs("camsim: --crop auto requires --faces auto (see camsim --help)\n", stderr);
    *exit_code = common::kExitUsage;
    return false;
  }
  if (options->real_models) {
    options->devices.insert(options->devices.begin(), options->real_device);
  }
  options->source.width = size.width;
  options->source.height = size.height;
  return true;
}

}  // namespace camsim
