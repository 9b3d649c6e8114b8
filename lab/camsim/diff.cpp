// SPDX-License-Identifier: Apache-2.0
#include "camsim/diff.h"

#include <cstdio>

#include "common/exit_code.h"
#include "framework/comparison.h"

namespace camsim {

int Diff(const Options& options) {
  framework::Recording recordings[2];
  for (std::size_t i = 0; i < 2; ++i) {
    media::Failure failure = framework::ReadRecording(options.compared[i], &recordings[i]);
    if (!failure) continue;
    std::fprintf(stderr, "camsim: %s\n", failure->message.c_str());
    return common::kExitUnreadableInput;
  }
  framework::Comparison comparison({options.tolerance, options.differences, "second"});
  framework::CompareRecordings(recordings[0], recordings[1], &comparison);
  std::fputs(comparison.Text().c_str(), stdout);
  if (std::fflush(stdout) != 0) return common::kExitFailure;
  return comparison.Count() == 0 ? common::kExitOk : common::kExitDifferences;
}

}  // namespace camsim
