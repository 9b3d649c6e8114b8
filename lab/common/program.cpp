// SPDX-License-Identifier: Apache-2.0
#include "common/program.h"

#include <fcntl.h>

namespace common {

std::filesystem::path ProgramFolder() {
  std::error_code none;
  return std::filesystem::read_symlink("/proc/self/exe", none).parent_path();
}

void KeepStandardStreamsApart() {
  for (int stream = 0; stream <= 2; ++stream) {
    if (fcntl(stream, F_GETFD) != -1) continue;
    // open() returns the lowest free number, which is this one.
    if (open("/dev/null", stream == 0 ? O_WRONLY : O_RDONLY) != stream) return;
  }
}

}  // namespace common
