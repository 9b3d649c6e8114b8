// SPDX-License-Identifier: Apache-2.0
// Results of tests in the form that CI systems read.
#ifndef ZY_COMMON_JUNIT_H_
#define ZY_COMMON_JUNIT_H_

#include <string>
#include <vector>

#include "common/failure.h"

namespace common {

struct JunitCase {
  std::string name;
  std::string element;  // "failure", "skipped" or "error"; empty when it passed
  std::string message;
  std::string output;
  double seconds;
};

// Returns the text with a question mark for each byte that is neither printable ASCII nor a line
// break.
std::string Printable(std::string text);
// Writes the file, which is replaced when it is complete. Texts may hold any bytes.
Failure WriteJunit(const std::string& path, const std::string& suite,
                   const std::vector<JunitCase>& cases);

}  // namespace common

#endif  // ZY_COMMON_JUNIT_H_
