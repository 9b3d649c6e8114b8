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
#include "record/recording.h"
#include "record/run_listener.h"
#include "record/script.h"

namespace camsim {

// One run: opens the input and the outputs, starts the node, sends requests until the input, the
// number asked for or an interrupt ends them, and tells what came back. One thread.
class Run {
 public:
  // Both stay the caller's.
  Run(const Options& options, const record::Recording& script);

  // Returns what the program ends with; a failure has been said.
  int Go();

 private:
  int Say(const common::Failure& failure, int exit_code);

  common::Failure OpenInput();
  common::Failure OpenDevice();
  // Whether the device can do what the script asks of it.
  common::Failure TryScript() const;
  void Begin();

  // Does what the script says up to the request of this number.
  common::Failure PlayScript(int64_t number);
  common::Failure Apply(record::Event event);

  int SendRequests();
  common::Failure SendRequest();
  common::Failure Report(const record::RequestRecord& request, std::vector<int> slots);
  // Ends the pipeline. Its destruction ends a pass that still runs.
  common::Failure StopPipeline();
  // Reports the pass over the frame that was taken last, when it has ended and was not reported.
  void NotePass(bool has_ended);
  common::Failure Finish();

  const Options& options_;
  const record::Recording& recording_;
  Clock clock_;
  Progress progress_;
  framework::OutcomeWatch outcomes_;
  LogFilter log_;
  framework::Device device_;
  record::Script script_;
  DeviceInput input_;
  Frames frames_;
  PassWatch passes_;
  Sender sender_;
  Outputs outputs_;
  record::Comparison comparison_;
  std::vector<std::unique_ptr<record::RunListener>> listeners_;
  Size buffer_;  // that is negotiated
  record::Summary summary_;
  uint64_t passes_seen_ = 0;
  int64_t requests_ = 0;  // to be sent; 0 is until the input ends
};

}  // namespace camsim

#endif  // ZY_CAMSIM_RUN_H_
