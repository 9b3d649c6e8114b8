// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_APPS_CAMKIT_OPTIONS_H_
#define ZY_APPS_CAMKIT_OPTIONS_H_

#include <string>

namespace camkit {

enum class Operation { kSharpen, kSharpenSkin, kSmooth, kHalf, kQuarter, kEighth, kRotate };

// What camkit's command line says.
struct Options {
  Operation operation = Operation::kSharpen;
  std::string name;  // of the operation, as typed
  std::string input;
  std::string output;
  std::string mask;  // empty marks the whole picture
  int degrees = 0;
  bool compare = false;
};

// Reads the command line. Returns true to go on; otherwise everything is said, and `exit_code` is
// what the program ends with.
bool ParseOptions(int argc, char** argv, Options* options, int* exit_code);

}  // namespace camkit

#endif  // ZY_APPS_CAMKIT_OPTIONS_H_
