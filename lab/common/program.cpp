// SPDX-License-Identifier: Apache-2.0
#include "common/program.h"

#include <filesystem>

#include "common/escape.h"

namespace common {

std::string ProgramFolder() {
  std::error_code none;
  return std::filesystem::read_symlink("/proc/self/exe", none).parent_path() / "";
}

int Say(const char* program, const std::string& message, int exit_code) {
  std::fprintf(stderr, "%s: %s\n", program, Escaped(message).c_str());
  return exit_code;
}

int EndOutput(const char* program, int exit_code) {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return exit_code;
  return Say(program, "standard output: write failed", kExitFailure);
}

}  // namespace common
