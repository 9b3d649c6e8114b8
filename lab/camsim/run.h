// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_CAMSIM_RUN_H_
#define ZY_CAMSIM_RUN_H_

#include <cstdint>
#include <memory>
#include <vector>

#include "camsim/console.h"
#include "camsim/device_input.h"
#include "camsim/frames.h"
#include "camsim/options.h"
#include "camsim/outputs.h"
#include "camsim/pass_watch.h"
#include "camsim/sender.h"
#include "common/failure.h"
#include "framework/device.h"
#include "framework/own_node.h"
#include "record/recording_file.h"
#include "record/run_listener.h"

namespace camsim {

// One run: opens the input and the outputs, starts the node, sends requests until the input, their
// number or an interrupt ends them, and reports the results. One thread.
class Run {
 public:
  // Both must outlive the run.
  Run(const Options& options, const record::RecordingFile& script);

  // Returns the program's exit code and prints failures.
  int Go();

 private:
  int Say(const common::Failure& failure, int exit_code);

  common::Failure OpenInput();
  common::Failure OpenDevice();
  // Checks that the device supports the script's settings.
  common::Failure TryScript() const;
  void Begin();

  // Executes the script up to the request of this number. Returns the exit code.
  int PlayScript(int64_t number);
  common::Failure Apply(record::Event event);

  int SendRequests();
  common::Failure SendRequest();
  common::Failure Report(const record::RequestRecord& request, std::vector<int> slots);
  // Ends the pipeline. Its destruction ends a pass that still runs.
  common::Failure StopPipeline();
  // Reports the pass over the last taken frame when it has ended, once.
  void NotePass(bool has_ended);
  uint64_t CountPasses() const;
  common::Failure Finish();

  const Options& options_;
  const record::RecordingFile& recording_;
  Clock clock_;
  Progress progress_;
  framework::OutcomeWatch outcomes_;
  LogFilter log_;
  framework::Device device_;
  record::StepReader script_;
  DeviceInput input_;
  Frames frames_;
  PassWatch passes_;
  Sender sender_;
  Outputs outputs_;
  record::Comparison comparison_;
  std::vector<std::unique_ptr<record::RunListener>> listeners_;
  Size buffer_;  // negotiated size
  record::Summary summary_;
  const uint64_t passes_before_;  // of earlier runs of the process
  uint64_t passes_seen_ = 0;
  int64_t requests_ = 0;  // number to send; 0: until the input ends
};

}  // namespace camsim

#endif  // ZY_CAMSIM_RUN_H_
