// SPDX-License-Identifier: Apache-2.0
// Writes test results in JUnit's format, which CI systems read.
#ifndef ZY_COMMON_JUNIT_H_
#define ZY_COMMON_JUNIT_H_

#include <string>
#include <vector>

#include "common/failure.h"

namespace common {

enum class JunitElement { kNone, kFailure, kSkipped, kError };

struct JunitCase {
  std::string name;
  JunitElement element;  // none for a pass
  std::string message;
  std::string output;
  double seconds;
};

// Replaces each byte that is neither printable ASCII nor a line break by a question mark.
std::string Printable(std::string text);
// Writes the file and replaces an older one when complete. Texts may hold any bytes.
Failure WriteJunit(const std::string& path, const std::string& suite,
                   const std::vector<JunitCase>& cases);

}  // namespace common

#endif  // ZY_COMMON_JUNIT_H_
