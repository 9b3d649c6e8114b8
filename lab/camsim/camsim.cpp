// SPDX-License-Identifier: Apache-2.0
// camsim: runs the node library on pictures, without a phone.
#include <cstdio>
#include <string>
#include <vector>

#include "camsim/console.h"
#include "camsim/header.h"
#include "camsim/options.h"
#include "camsim/page.h"
#include "camsim/run.h"
#include "common/exit_code.h"
#include "common/replaced_file.h"
#include "common/same_file.h"
#include "common/standard_streams.h"
#include "framework/node_watch.h"
#include "record/recording.h"

namespace {

int Say(const common::Failure& failure, int exit_code) {
  std::fprintf(stderr, "camsim: %s\n", failure->message.c_str());
  return exit_code;
}

// Writes the page of two recordings, to a file that is neither of them.
common::Failure WriteReport(const camsim::Options& options, const std::vector<std::string>& texts) {
  for (const std::string& path : options.compared) {
    if (common::IsSameFile(path, options.report)) return common::Fail(path + ": is also the input");
  }
  common::ReplacedFile file;
  if (common::Failure failure = file.Create(options.report)) return failure;
  camsim::WritePage(texts, "", file.File());
  return file.Complete();
}

// Compares the two recordings that the options name, prints the differences and writes the page.
int Diff(const camsim::Options& options) {
  record::Recording recordings[2];
  std::vector<std::string> texts(2);
  for (std::size_t i = 0; i < 2; ++i) {
    if (auto failure = record::ReadRecording(options.compared[i], &recordings[i], &texts[i])) {
      return Say(failure, common::kExitUnreadableInput);
    }
  }
  if (!options.report.empty()) {
    if (auto failure = WriteReport(options, texts)) return Say(failure, common::kExitFailure);
  }
  record::Comparison comparison(
      {options.tolerance, options.differences, "second", options.compared[0], options.compared[1]});
  record::CompareRecordings(recordings[0], recordings[1], &comparison);
  std::fputs(comparison.Text().c_str(), stdout);
  if (std::fflush(stdout) != 0) return common::kExitFailure;
  return comparison.Count() == 0 ? common::kExitOk : common::kExitDifferences;
}

// Runs the node. The command line, script and header are complete before anything starts.
int Play(camsim::Options options) {
  record::Recording script;
  if (!options.ScriptPath().empty()) {
    if (auto failure = record::ReadRecording(options.ScriptPath(), &script)) {
      return Say(failure, common::kExitUnreadableInput);
    }
    if (!options.replay.empty() && !script.header) {
      return Say(common::Fail(options.replay + ": line 1: is not the header of a recording"),
                 common::kExitUnreadableInput);
    }
    if (script.header) UseHeader(*script.header, &options);
  }
  const framework::NodeWatch watch(
      {"camsim", std::chrono::seconds(options.timeout_s), &camsim::g_interrupted});
  return camsim::Run(options, script).Go();
}

}  // namespace

int main(int argc, char** argv) {
  common::KeepStandardStreamsApart();
  camsim::Options options;
  int exit_code = common::kExitOk;
  if (!camsim::ParseOptions(argc, argv, &options, &exit_code)) return exit_code;
  camsim::CatchInterrupts();
  return common::RunWithinMemory(
      "camsim", [&] { return options.compared.empty() ? Play(options) : Diff(options); });
}
