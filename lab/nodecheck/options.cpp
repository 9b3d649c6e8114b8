// SPDX-License-Identifier: Apache-2.0
#include <filesystem>

#include "common/command_line.h"
#include "common/exit_code.h"
#include "nodecheck/nodecheck.h"

#ifndef __has_feature  // clang's
#define __has_feature(x) 0
#endif

namespace nodecheck {
namespace {

constexpr char kAbout[] =
    "nodecheck says whether a camera node behaves: it loads the library, plays the camera "
    "framework\n"
    "in all the ways in which one may, and prints a line for each check. Each check is a process "
    "of\n"
    "its own, so that a node that crashes or hangs is a result and not the end.";

constexpr char kExample[] =
    "Examples:\n"
    "  nodecheck ./com.qti.node.brodaxgenderage.so\n"
    "  nodecheck other.so --filter life. --limit 8\n"
    "  nodecheck other.so --soak 1000000 1000\n"
    "Exit status: 0 no check failed, 1 one did or the node cannot be loaded, 2 usage.";

constexpr bool kIsSanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);

}  // namespace

// An emulator answers the first of the two questions itself, the kernel the second.
bool IsSlowMachine() {
  return kIsSanitized || std::filesystem::read_symlink("/proc/self/exe") !=
                             std::filesystem::read_symlink("/proc/thread-self/exe");
}

bool ParseOptions(int argc, char** argv, Options* options, int* exit_code) {
  common::CommandLine line("nodecheck", kAbout, kExample);
  line.Add("node", &options->node, "the node library").Shows("NODE.so");
  line.Add("--device", &options->devices,
           "a folder with libraries of the device; may be repeated, the first that has one "
           "wins; at last come the stand-ins beside this program")
      .Shows("DIR")
      .Repeats();
  line.AddFlag("--list", &options->list, "say what each check is for, and run none");
  line.Add("--filter", &options->filter, "take only checks whose names hold TEXT").Shows("TEXT");
  line.Add("--soak", &options->soak,
           "instead of the checks, so many requests in so many lives (a thousandth)")
      .Shows("REQUESTS [LIVES]")
      .Takes(1, 2)
      .Within(uint64_t{1}, uint64_t{1} << 40);
  line.Add("--limit", &options->limit_ms,
           "longest time of a process-request in ms (16; 1000 under sanitizers and emulators)")
      .Within(1, 60'000);
  line.Add("--timeout", &options->timeout_s,
           "after so many seconds a check counts as hanging (60; 300)")
      .Within(1, 3600);
  line.Add("--seed", &options->seed, "of what is random (1)");
  if (!line.Parse(argc, argv, exit_code)) return false;
  if (!options->list && options->node.empty()) {
    std::fputs("nodecheck: NODE.so is required (see nodecheck --help)\n", stderr);
    *exit_code = common::kExitUsage;
    return false;
  }
  if (options->limit_ms == 0) options->limit_ms = IsSlowMachine() ? 1000 : 16;
  if (options->timeout_s == 0) options->timeout_s = IsSlowMachine() ? 300 : 60;
  if (options->soak.size() == 1) options->soak.push_back(options->soak[0] / 1000);
  return true;
}

}  // namespace nodecheck
