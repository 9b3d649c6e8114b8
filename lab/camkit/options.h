// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_CAMKIT_OPTIONS_H_
#define ZY_CAMKIT_OPTIONS_H_

#include <string>

namespace camkit {

enum class Operation {
  kSharpen,
  kSharpenSkin,
  kFilter,
  kSmooth,
  kHalf,
  kQuarter,
  kEighth,
  kRotate
};

// The parsed command line of camkit.
struct Options {
  Operation operation = Operation::kSharpen;
  std::string name;  // of the operation, as typed
  std::string input;
  std::string output;
  std::string mask;     // a picture's path, or empty
  int threshold = 128;  // of a mask's brightness, 1..255
  bool skin = false;    // mark skin by its chroma
  signed char corner = 0, centre = 16, edge = 0;
  int degrees = 0;
  bool compare = false;
};

// Parses the command line. Returns true to go on; otherwise it has printed the message, and
// `exit_code` is the program's exit code.
bool ParseOptions(int argc, char** argv, Options* options, int* exit_code);

}  // namespace camkit

#endif  // ZY_CAMKIT_OPTIONS_H_
