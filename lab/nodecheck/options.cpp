// SPDX-License-Identifier: Apache-2.0
#include <cstdio>

#include "common/command_line.h"
#include "common/process_state.h"
#include "common/program.h"
#include "nodecheck/nodecheck.h"

namespace nodecheck {
namespace {

constexpr char kAbout[] =
    "nodecheck tests a camera node. It plays the camera framework, with usual and with malformed\n"
    "requests, and prints a line for each check. Each check runs in a process of its own, so a\n"
    "node that crashes or hangs does not end nodecheck.";

constexpr char kExample[] =
    "Examples:\n"
    "  nodecheck other.so --filter life. --limit 8\n"
    "  nodecheck other.so --soak 1000000 --lives 1000\n"
    "  gdb --args nodecheck other.so --here requests.sizes\n"
    "Exit status: 0 all checks ok or skipped; 1 a check failed or did not run, or the node cannot\n"
    "be loaded; 2 usage.";

}  // namespace

bool ParseOptions(int argc, char** argv, Options* options, int* exit_code) {
  constexpr uint64_t kOne = 1, kMost = uint64_t{1} << 40;
  std::vector<std::string> nodes;
  common::CommandLine line(kProgram, kAbout, kExample);
  line.Add("node NODE.so", &nodes, "the node library");
  line.Add("--device DIR", &options->devices,
           "a folder with libraries of the device, before the fakes; may be repeated")
      .Repeats();
  line.AddFlag("--list", &options->list, "print the purpose of each check, and run none");
  const auto filter =
      line.Add("--filter TEXT", &options->filter, "run the checks whose names contain TEXT");
  const auto here =
      line.Add("--here CHECK", &options->here, "run a check in this process, for a debugger")
          .Excludes(filter);
  const auto soak = line.Add("--soak REQUESTS", &options->soak,
                             "send REQUESTS in many lives, partly of two nodes, and run no checks")
                        .Within(kOne, kMost)
                        .Excludes(filter)
                        .Excludes(here);
  line.Add("--lives M", &options->lives, "lives in the soak, at least 10 (REQUESTS / 1000)")
      .Within(kOne, kMost)
      .Needs(soak);
  line.Add("--junit FILE", &options->junit, "write the results to FILE in JUnit's format")
      .Checks(common::NotEmpty)
      .Excludes(here);
  line.Add("--limit", &options->limit_ms,
           "longest time of a process-request in ms (16; 1000 under sanitizers and emulators)")
      .Within(1, 60'000);
  line.Add("--timeout", &options->timeout_s,
           "seconds without progress after which a check counts as hanging (60; 300 under "
           "sanitizers and emulators)")
      .Within(1, 3600);
  line.Add("--seed", &options->seed, "seed of the random requests (1)");
  if (!line.Parse(argc, argv, exit_code)) return false;
  if (nodes.size() != 1 && !(options->list && nodes.empty())) {
    const char* const hint = options->soak != 0 ? "; --lives M gives the soak's lives" : "";
    std::fprintf(stderr, "nodecheck: expected one NODE.so%s (see nodecheck --help)\n", hint);
    *exit_code = common::kExitUsage;
    return false;
  }
  if (!nodes.empty()) options->node = nodes[0];
  if (options->limit_ms == 0) options->limit_ms = common::IsSlowMachine() ? 1000 : 16;
  if (options->timeout_s == 0) options->timeout_s = common::IsSlowMachine() ? 300 : 60;
  return true;
}

}  // namespace nodecheck
