// SPDX-License-Identifier: Apache-2.0
#include "camkit/options.h"

#include <cstdio>

#include "common/command_line.h"

namespace camkit {
namespace {

constexpr char kAbout[] =
    "camkit runs a function of the image and sharpening kits on a picture, and prints its time.\n"
    "All functions but rotate and the downscalers change only the luma.";

constexpr char kExample[] =
    "Examples:\n"
    "  camkit sharpen photo.jpg sharp.png --compare   before and after, side by side\n"
    "  camkit sharpen-skin photo.jpg skin.png --skin\n"
    "  camkit smooth photo.jpg map.png --skin --compare\n"
    "  camkit rotate --degrees 90 photo.jpg turned.png\n"
    "--skin marks 2x2 blocks with Cb from 77 to 127 and Cr from 133 to 173. This is a rule of\n"
    "thumb for trying the kit on any photograph, not a skin detector.\n"
    "camkit has no operation for resize_halfUseNeon and resize_quarterUseNeon, which equal half\n"
    "and quarter at widths that are multiples of 8, nor for the array helpers and the allocation\n"
    "of buffers, which have no visible effect.\n"
    "Exit status: 0 ok, 1 failure, 2 usage, 3 unreadable input.";

struct OperationText {
  Operation operation;
  const char* name;
  const char* about;
};

constexpr OperationText kOperations[] = {
    {Operation::kSharpen, "sharpen", "sharpenY: sharpen the whole picture"},
    {Operation::kSharpenSkin, "sharpen-skin", "sharpenYWithSkinMap: sharpen marked blocks"},
    {Operation::kFilter, "filter", "filterCorr3x3s8_v2, also ...WithskinMap: any 3x3 weights"},
    {Operation::kSmooth, "smooth", "smoothSkinMapGaussian: smooth the luma, or a skin map"},
    {Operation::kHalf, "half", "resize_half: half the width and height"},
    {Operation::kQuarter, "quarter", "resize_quarter: a quarter of the width and height"},
    {Operation::kEighth, "eighth", "resize_eighthUseNeon: an eighth of the width and height"},
    {Operation::kRotate, "rotate", "ZyCopyBuffer: rotate the picture clockwise"},
};

void AddMask(common::Command command, Options* options) {
  const common::CommandOption mask =
      command
          .Add("--mask FILE", &options->mask,
               "picture of the same size, or half of it; its bright pixels are marks")
          .Checks(common::NotEmpty);
  command
      .Add("--threshold", &options->threshold,
           "lowest brightness of a marked pixel, up to 255 (128)")
      .Within(1, 255)
      .Needs(mask);
  command.AddFlag("--skin", &options->skin, "mark skin by its chroma").Excludes(mask);
}

bool ParseWeights(const std::string& text, Options* options) {
  int weights[3];
  char rest = 0;
  if (std::sscanf(text.c_str(), "%4d,%4d,%4d%c", &weights[0], &weights[1], &weights[2], &rest) !=
      3) {
    return false;
  }
  signed char* const to[] = {&options->corner, &options->centre, &options->edge};
  for (int i = 0; i < 3; ++i) {
    if (weights[i] < -128 || weights[i] > 127) return false;
    *to[i] = static_cast<signed char>(weights[i]);
  }
  return true;
}

void AddWeights(common::Command command, Options* options) {
  const auto take = [options](const std::string& text) {
    return ParseWeights(text, options) ? "" : text + " is not a list of weights such as -3,76,-12";
  };
  command
      .AddText(
          "--weights CORNER,CENTRE,EDGE", take,
          "of corners, centre and edges, -128 to 127 each; four corners, four edges and the centre "
          "must sum to 16 to keep the brightness")
      .IsRequired();
}

void AddDegrees(common::Command command, Options* options) {
  const auto check = [](const std::string& text) {
    return text == "90" || text == "180" || text == "270" ? "" : text + " not in {90,180,270}";
  };
  command.Add("--degrees", &options->degrees, "90, 180 or 270").Checks(check).IsRequired();
}

void AddOperation(const OperationText& text, common::Command* program, Options* options) {
  common::Command command = program->AddCommand(text.name, text.about, [text, options] {
    options->operation = text.operation;
    options->name = text.name;
  });
  command.Add("input IN", &options->input, "PNG or JPEG; - is standard input").IsRequired();
  const auto check = [](const std::string& path) {
    return path == "-" ? "for standard output use /dev/stdout" : common::PngName(path);
  };
  command.Add("output OUT.png", &options->output, "PNG").IsRequired().Checks(check);
  command.AddFlag("--compare", &options->compare,
                  "write the pictures before and after, side by side with labels");
  const Operation operation = text.operation;
  if (operation == Operation::kSharpenSkin || operation == Operation::kFilter) {
    AddMask(command, options);
  }
  if (operation == Operation::kFilter) AddWeights(command, options);
  if (operation == Operation::kRotate) AddDegrees(command, options);
  if (operation == Operation::kSmooth) {
    command.AddFlag("--skin", &options->skin, "make a skin map and smooth it");
  }
}

}  // namespace

bool ParseOptions(int argc, char** argv, Options* options, int* exit_code) {
  common::CommandLine line("camkit", kAbout, kExample);
  line.RequireCommand();
  for (const OperationText& text : kOperations) AddOperation(text, &line, options);
  return line.Parse(argc, argv, exit_code);
}

}  // namespace camkit
