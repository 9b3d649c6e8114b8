// SPDX-License-Identifier: Apache-2.0
// What the command lines of the programs have in common.
#ifndef ZY_COMMON_COMMAND_LINE_H_
#define ZY_COMMON_COMMAND_LINE_H_

#include <CLI/CLI.hpp>
#include <cstdio>
#include <iostream>
#include <string>

#include "common/exit_code.h"
#include "common/version.h"

namespace common {

// Reads the command line. Returns true to go on; otherwise help, version or the error is said, in
// one line that begins with the program's name, and `exit_code` is what the program ends with.
inline bool ParseCommandLine(int argc, char** argv, CLI::App* app, int* exit_code) {
  app->set_version_flag("--version", app->get_name() + " " + kVersion);
  try {
    app->parse(argc, argv);
    return true;
  } catch (const CLI::Success& help_or_version) {
    *exit_code = app->exit(help_or_version) == 0 && std::cout.flush() ? kExitOk : kExitFailure;
  } catch (const CLI::ParseError& error) {
    std::string message = error.what();
    for (char& c : message) c = c == '\n' ? ' ' : c;
    const std::string name = app->get_name();
    std::fprintf(stderr, "%s: %s (see %s --help)\n", name.c_str(), message.c_str(), name.c_str());
    *exit_code = kExitUsage;
  }
  return false;
}

// What an unset shell variable leaves of a file's name.
inline std::string NotEmpty(const std::string& text) {
  return text.empty() ? "must not be empty" : "";
}

// A name under which a PNG may be written: one that ends in .png or has no ending.
inline std::string PngName(const std::string& path) {
  if (path == "-") return "is not written to standard output; name a file";
  const std::string name = path.substr(path.rfind('/') + 1);
  const std::size_t dot = name.rfind('.');
  if (dot == std::string::npos || dot == 0) return NotEmpty(path);
  std::string ending = name.substr(dot);
  for (char& c : ending) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return ending == ".png" ? "" : path + " is written as PNG; let its name end in .png";
}

}  // namespace common

#endif  // ZY_COMMON_COMMAND_LINE_H_
