// SPDX-License-Identifier: Apache-2.0
#include "apps/camkit/options.h"

#include <CLI/CLI.hpp>

#include "apps/exit_code.h"

namespace camkit {
namespace {

constexpr char kAbout[] =
    "camkit shows what each function of the image and sharpening kits does to a picture.\n"
    "All but rotate work on the picture's luma, which ranges from 16 to 235, and write it as gray\n"
    "from black to white.";

constexpr char kExample[] =
    "Examples:\n"
    "  camkit sharpen photo.jpg sharp.png --compare   before and after, side by side\n"
    "  camkit sharpen-skin photo.jpg skin.png --mask skin-mask.png\n"
    "  camkit rotate --degrees 90 photo.jpg turned.png\n"
    "Exit status: 0 ok, 1 failure, 2 usage, 3 unreadable input.";

struct OperationText {
  Operation operation;
  const char* name;
  const char* about;
};

constexpr OperationText kOperations[] = {
    {Operation::kSharpen, "sharpen", "sharpen the luma"},
    {Operation::kSharpenSkin, "sharpen-skin", "sharpen the luma where a mask says so"},
    {Operation::kSmooth, "smooth", "smooth the luma as if it were a skin map"},
    {Operation::kHalf, "half", "shrink the luma to half its width and height"},
    {Operation::kQuarter, "quarter", "shrink the luma to a quarter of its width and height"},
    {Operation::kEighth, "eighth", "shrink the luma to an eighth of its width and height"},
    {Operation::kRotate, "rotate", "turn the picture clockwise, in colour"},
};

void AddOperation(const OperationText& text, CLI::App* app, Options* options) {
  CLI::App* const command = app->add_subcommand(text.name, text.about);
  command->add_option("input", options->input, "PNG or JPEG; - is standard input")
      ->type_name("IN")
      ->required();
  command->add_option("output", options->output, "PNG")
      ->type_name("OUT.png")
      ->required()
      ->check([](const std::string& path) {
        return std::string(path == "-" ? "for standard output say /dev/stdout" : "");
      });
  command->add_flag("--compare", options->compare,
                    "write the pictures before and after, side by side with labels");
  if (text.operation == Operation::kSharpenSkin) {
    command
        ->add_option("--mask", options->mask,
                     "picture of the same size, or half of it: what is not black is sharpened "
                     "(everything)")
        ->type_name("FILE");
  }
  if (text.operation == Operation::kRotate) {
    command->add_option("--degrees", options->degrees, "90, 180 or 270")
        ->check(CLI::IsMember({90, 180, 270}))
        ->required();
  }
  command->callback([text, options] {
    options->operation = text.operation;
    options->name = text.name;
  });
}

}  // namespace

bool ParseOptions(int argc, char** argv, Options* options, int* exit_code) {
  CLI::App app(kAbout, "camkit");
  app.footer(kExample);
  app.require_subcommand(1);
  for (const OperationText& text : kOperations) AddOperation(text, &app, options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    *exit_code = app.exit(error) == 0 ? apps::kExitOk : apps::kExitUsage;
    return false;
  }
  return true;
}

}  // namespace camkit
