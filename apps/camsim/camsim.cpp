// SPDX-License-Identifier: Apache-2.0
// camsim: runs the node library on pictures, without a phone.
#include "apps/camsim/diff.h"
#include "apps/camsim/interrupt.h"
#include "apps/camsim/options.h"
#include "apps/camsim/run.h"
#include "apps/exit_code.h"
#include "apps/standard_streams.h"

int main(int argc, char** argv) {
  apps::KeepStandardStreamsApart();
  camsim::Options options;
  int exit_code = apps::kExitOk;
  if (!camsim::ParseOptions(argc, argv, &options, &exit_code)) return exit_code;
  camsim::CatchInterrupts();
  return apps::RunWithinMemory("camsim", [&] {
    return options.compared.empty() ? camsim::Run(options).Go() : camsim::Diff(options);
  });
}
