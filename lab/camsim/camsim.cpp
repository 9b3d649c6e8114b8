// SPDX-License-Identifier: Apache-2.0
// camsim: runs the node library on pictures, without a phone.
#include "camsim/diff.h"
#include "camsim/interrupt.h"
#include "camsim/options.h"
#include "camsim/run.h"
#include "common/exit_code.h"
#include "common/standard_streams.h"

int main(int argc, char** argv) {
  common::KeepStandardStreamsApart();
  camsim::Options options;
  int exit_code = common::kExitOk;
  if (!camsim::ParseOptions(argc, argv, &options, &exit_code)) return exit_code;
  camsim::CatchInterrupts();
  return common::RunWithinMemory("camsim", [&] {
    return options.compared.empty() ? camsim::Run(options).Go() : camsim::Diff(options);
  });
}
