// SPDX-License-Identifier: Apache-2.0
#include "common/program.h"

namespace common {

std::filesystem::path ProgramFolder() {
  std::error_code none;
  return std::filesystem::read_symlink("/proc/self/exe", none).parent_path();
}

}  // namespace common
