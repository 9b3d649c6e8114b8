// SPDX-License-Identifier: Apache-2.0
// camsim: runs the node library on pictures, without a phone.
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "camsim/header.h"
#include "camsim/options.h"
#include "camsim/page.h"
#include "camsim/run.h"
#include "common/escape.h"
#include "common/interrupts.h"
#include "common/output_stream.h"
#include "common/program.h"
#include "common/replaced_file.h"
#include "framework/node_watch.h"
#include "record/recording_file.h"

namespace {

int Say(const common::Failure& failure, int exit_code) {
  return common::Say("camsim", failure->message, exit_code);
}

// Writes the page of two recordings, to a file that is neither of them nor standard output.
common::Failure WriteReport(const camsim::Options& options, const std::vector<std::string>& texts) {
  if (common::IsStandardOutput(options.report)) {
    return common::Fail(options.report + ": is standard output");
  }
  for (const std::string& path : options.compared) {
    if (common::IsInput(options.report, path)) return common::Fail(path + ": is also an input");
  }
  common::ReplacedFile file;
  if (common::Failure failure = file.Create(options.report)) return failure;
  camsim::WriteComparison(texts[0], texts[1], options.tolerance, file.File());
  return file.Complete();
}

// Opens a recording or a script. Returns the exit code when it cannot be used.
int Open(const std::string& path, record::RecordingFile* file) {
  const common::Failure failure = file->Open(path);
  if (common::Interrupted()) return common::kExitInterrupted;
  return failure ? Say(failure, common::kExitUnreadableInput) : common::kExitOk;
}

// Compares the two recordings that the options name, prints the differences and writes the page.
int Diff(const camsim::Options& options) {
  record::RecordingFile recordings[2];
  for (std::size_t i = 0; i < 2; ++i) {
    if (const int status = Open(options.compared[i], &recordings[i])) return status;
  }
  if (!options.report.empty()) {
    std::vector<std::string> texts(2);
    for (std::size_t i = 0; i < 2; ++i) {
      if (auto failure = recordings[i].ReadText(&texts[i])) {
        return Say(failure, common::kExitUnreadableInput);
      }
    }
    if (auto failure = WriteReport(options, texts)) return Say(failure, common::kExitFailure);
  }
  record::Comparison comparison(
      {options.tolerance, options.differences, "second", options.compared[0], options.compared[1]});
  const common::Failure failure =
      record::CompareRecordings(recordings[0], recordings[1], &comparison);
  if (common::Interrupted()) return common::kExitInterrupted;
  if (failure) return Say(failure, common::kExitUnreadableInput);
  common::OutputStream out("standard output", STDOUT_FILENO);
  std::fputs(comparison.Text().c_str(), out.File());
  if (auto lost = out.Flush()) return Say(lost, common::kExitFailure);
  return comparison.Count() == 0 ? common::kExitOk : common::kExitDifferences;
}

// Runs the node. The command line, script and header are complete before anything starts.
int Play(camsim::Options options) {
  record::RecordingFile script;
  const bool has_input = !options.source.input.empty();
  if (!options.ScriptPath().empty()) {
    if (const int status = Open(options.ScriptPath(), &script)) return status;
    if (!options.replay.empty() && !script.Header()) {
      return Say(common::Fail(options.replay + ": line 1: is not the header of a recording"),
                 common::kExitUnreadableInput);
    }
    if (script.Header()) UseHeader(*script.Header(), &options);
    const std::string& input = options.source.input;
    if (!has_input && !input.empty()) {
      std::fprintf(stderr, "camsim: input from the recording: %s\n",
                   common::Escaped(input).c_str());
    }
  }
  const framework::NodeWatch watch(
      {"camsim", std::chrono::seconds(options.timeout_s), &common::g_interrupted});
  return camsim::Run(options, script).Go();
}

}  // namespace

int main(int argc, char** argv) {
  camsim::Options options;
  int exit_code = common::kExitOk;
  if (!camsim::ParseOptions(argc, argv, &options, &exit_code)) return exit_code;
  common::CatchInterrupts();
  return common::RunWithinMemory(
      "camsim", [&] { return options.compared.empty() ? Play(options) : Diff(options); });
}
